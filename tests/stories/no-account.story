# Without a mail server there is no job: the person enters one, and sends with the next click.
file lists/club.txt
| ann@example.org
set MailList "{home}/lists/club.txt,TEXT"
set SenderEmail me@example.org
connect
    wrote: {home}/app/user/
    wrote: {home}/app/user/session/
new A
body A Hello
command "Send Vespro"
    shows: Vespro Accounts
type TextServer mail.example.org
type TextPort 25
click CheckNoAuthLogin
click CmdAdd
click CmdClose
    wrote: {home}/app/user/Vespro.db
    wrote: {home}/app/user/Vespro.db.lock
    shows: nothing
sent
    nothing
command "Send Vespro"
    started: {home}/app/Vespro.exe -s "{home}/app/user/session/{session1}/Vespro.cfg" -p ""
    wrote: {home}/app/user/session/{session1}/
    wrote: {home}/app/user/session/{session1}/Vespro.cfg
    wrote: {home}/app/user/session/{session1}/Vespro.eml
read "app/user/session/{session1}/Vespro.cfg"
    | DISTRIBUTION FILE={home}/lists/club.txt,TEXT
    | MESSAGE FILE={home}/app/user/session/{session1}/Vespro.eml
    | HOST=mail.example.org,25,,
sent
    to: {home}/lists/club.txt
    on behalf of: ""me@example.org
    body: Hello
quit
held
    nothing
