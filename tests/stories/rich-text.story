# Before version 10 a rich text loses its formatting on the way, which the person may still want.
version 9.0.0.3821
file lists/club.txt
| ann@example.org
set MailList "{home}/lists/club.txt,TEXT"
set SenderEmail me@example.org
account mail.example.org 25
connect
    wrote: {home}/app/user/session/
new A rich
body A Hello
command "Send Vespro"
    wrote: {home}/app/user/session/{session1}/
    wrote: {home}/app/user/session/{session1}/Vespro.cfg
    wrote: {home}/app/user/session/{session1}/Vespro.eml
    shows: Vespro
    [!] Warning: Text formatting will be lost.\nDo you want to continue?
answer No
    shows: nothing
sent
    nothing
# The mail is still there, and may be sent after all. It gets a job of its own.
command "Send Vespro"
    wrote: {home}/app/user/session/{session2}/
    wrote: {home}/app/user/session/{session2}/Vespro.cfg
    wrote: {home}/app/user/session/{session2}/Vespro.eml
    shows: Vespro
    [!] Warning: Text formatting will be lost.\nDo you want to continue?
answer Yes
    started: {home}/app/Vespro.exe -s "{home}/app/user/session/{session2}/Vespro.cfg" -p ""
    shows: nothing
sent
    to: {home}/lists/club.txt
    on behalf of: ""me@example.org
    body: Hello
quit
held
    nothing
