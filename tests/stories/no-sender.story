# Without the sender's address there is no job; what is typed is kept for the next time.
file lists/club.txt
| ann@example.org
set MailList "{home}/lists/club.txt,TEXT"
account mail.example.org 25
connect
    wrote: {home}/app/user/session/
new A
body A Hello
command "Send Vespro"
    wrote: {home}/app/user/session/{session1}/
    shows: Vespro - Sender's Email Address Required
click CmdCancel
    shows: Vespro
    [!] Sender's email address is required.\nThis setting is configurable from Sender Info section within Vespro Options menu
answer OK
    shows: nothing
setting SenderEmail
    nothing
command "Send Vespro"
    wrote: {home}/app/user/session/{session2}/
    shows: Vespro - Sender's Email Address Required
type TextAnswer " me@example.org "
click CmdOk
    started: {home}/app/Vespro.exe -s "{home}/app/user/session/{session2}/Vespro.cfg" -p ""
    wrote: {home}/app/user/session/{session2}/Vespro.cfg
    wrote: {home}/app/user/session/{session2}/Vespro.eml
    shows: nothing
setting SenderEmail
    'me@example.org'
read "app/user/session/{session2}/Vespro.eml"
    | TO: 
    | FROM: me@example.org
    | MIME-Version: 1.0
    | Subject: 
    | Content-Type: text/plain; charset=UTF-8
    | Content-Transfer-Encoding: 7bit
    | 
    | Hello
    | 
sent
    to: {home}/lists/club.txt
    on behalf of: ""me@example.org
    body: Hello
quit
held
    nothing
