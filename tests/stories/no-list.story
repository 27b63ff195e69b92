# No list is chosen yet: that comes first, and the mail is sent with the next click.
file lists/club.txt
| ann@example.org
account mail.example.org 25
set SenderEmail me@example.org
connect
    wrote: {home}/app/user/session/
new A
body A Hello
command "Send Vespro"
    shows: Vespro - Select Distribution File
type TextSelectedFile "{home}/lists/missing.txt"
click CmdOk
    shows: Vespro - Select Distribution File | Vespro
    [!] The current distribution file does not exist.  Please select another file.
answer OK
    shows: Vespro - Select Distribution File
type TextSelectedFile "{home}/lists/club.txt"
click CmdOk
    shows: Vespro
    [?] Do you want to remove duplicate emails?
answer No
    shows: nothing
sent
    nothing
command "Send Vespro"
    started: {home}/app/Vespro.exe -s "{home}/app/user/session/{session1}/Vespro.cfg" -p ""
    wrote: {home}/app/user/session/{session1}/
    wrote: {home}/app/user/session/{session1}/Vespro.cfg
    wrote: {home}/app/user/session/{session1}/Vespro.eml
sent
    to: {home}/lists/club.txt
    on behalf of: ""me@example.org
    body: Hello
quit
held
    nothing
