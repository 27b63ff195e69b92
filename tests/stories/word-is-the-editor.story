# From version 12 on every mail is written with Word, and its window gets all there is; other items still get nothing.
file lists/club.txt
| ann@example.org
set MailList "{home}/lists/club.txt,TEXT"
set SenderEmail me@example.org
account mail.example.org 25
version 12.0.0.4518
connect
    wrote: {home}/app/user/session/
new contact 40
show contact
    nothing of ours
new A html
subject A Spring
body A Hello
html A <p>Hello</p>
show A Standard
    Standard / Vespro Attach: button, begins a group, style 1, face, action <!Vespro.Connect>, tooltip 'Vespro attachments for HTML email'
    Standard / Send Vespro: button, style 3, face, action <!Vespro.Connect>
    Standard / MailMerge with Vespro: box, action <!Vespro.Connect>, text 'Switch to personalised mode for MailMerge'
command "Send Vespro"
    started: {home}/app/Vespro.exe -s "{home}/app/user/session/{session1}/Vespro.cfg" -p ""
    wrote: {home}/app/user/session/{session1}/
    wrote: {home}/app/user/session/{session1}/Vespro.cfg
    wrote: {home}/app/user/session/{session1}/Vespro.eml
read "app/user/session/{session1}/Vespro.eml"
    | TO: 
    | FROM: me@example.org
    | MIME-Version: 1.0
    | Subject: Spring
    | Content-Type: multipart/alternative;
    |  boundary="{boundary1}"
    | 
    | --{boundary1}
    | Content-Type: text/plain; charset=UTF-8
    | Content-Transfer-Encoding: 7bit
    | 
    | Hello
    | --{boundary1}
    | Content-Type: text/html; charset=UTF-8
    | Content-Transfer-Encoding: 7bit
    | 
    | <p>Hello</p>
    | --{boundary1}--
    | 
new B
subject B Plain
body B Hello
command "Send Vespro"
    started: {home}/app/Vespro.exe -s "{home}/app/user/session/{session2}/Vespro.cfg" -p ""
    wrote: {home}/app/user/session/{session2}/
    wrote: {home}/app/user/session/{session2}/Vespro.cfg
    wrote: {home}/app/user/session/{session2}/Vespro.eml
new C rich
body C Hello
command "Send Vespro"
    started: {home}/app/Vespro.exe -s "{home}/app/user/session/{session3}/Vespro.cfg" -p ""
    wrote: {home}/app/user/session/{session3}/
    wrote: {home}/app/user/session/{session3}/Vespro.cfg
    wrote: {home}/app/user/session/{session3}/Vespro.eml
sent
    to: {home}/lists/club.txt
    on behalf of: ""me@example.org
    subject: Spring
    body: Hello
    html: <p>Hello</p>
    to: {home}/lists/club.txt
    on behalf of: ""me@example.org
    subject: Plain
    body: Hello
    to: {home}/lists/club.txt
    on behalf of: ""me@example.org
    body: Hello
quit
held
    nothing
