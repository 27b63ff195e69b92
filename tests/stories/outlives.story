# A dialog or a question outlives the window in front of which it stands.
version 9.0.0.3821
file lists/club.txt
| ann@example.org
set MailList "{home}/lists/club.txt,TEXT"
set SenderEmail me@example.org
account mail.example.org 25
connect
    wrote: {home}/app/user/session/
new A rich
body A "To be sent, but gone"
new B rich
body B "Another mail"
# The window is closed while its question is open. The job is whole; the other mail stays what it is.
activate A
command "Send Vespro"
    wrote: {home}/app/user/session/{session1}/
    wrote: {home}/app/user/session/{session1}/Vespro.cfg
    wrote: {home}/app/user/session/{session1}/Vespro.eml
    shows: Vespro
    [!] Warning: Text formatting will be lost.\nDo you want to continue?
close-window A
    [!] Warning: Text formatting will be lost.\nDo you want to continue?
answer Yes
    started: {home}/app/Vespro.exe -s "{home}/app/user/session/{session1}/Vespro.cfg" -p ""
    shows: nothing
sent
    nothing
mail B
    body: Another mail
# No mail at all is there when this is closed.
command "Vespro Attach"
    shows: Vespro Attachments
close-window B
click CmdClose
    shows: nothing
# The mail client ends while a dialog is open.
command "Distribution File"
    shows: Vespro - Select Distribution File
quit
held
    nothing
click CmdOk
    shows: Vespro
    [?] Do you want to remove duplicate emails?
answer No
    shows: nothing
held
    nothing
