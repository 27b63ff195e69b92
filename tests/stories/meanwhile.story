# Things happen while a dialog or a question is open.
version 9.0.0.3821
file lists/club.txt
| ann@example.org
set MailList "{home}/lists/club.txt,TEXT"
set SenderEmail me@example.org
account mail.example.org 25
connect
    wrote: {home}/app/user/session/
new B rich
body B "Another mail"
# Another window comes to the front while the question is open: the right mail is closed and filed.
new C rich
body C "A third mail"
command "Send Vespro"
    wrote: {home}/app/user/session/{session1}/
    wrote: {home}/app/user/session/{session1}/Vespro.cfg
    wrote: {home}/app/user/session/{session1}/Vespro.eml
    shows: Vespro
    [!] Warning: Text formatting will be lost.\nDo you want to continue?
activate B
    [!] Warning: Text formatting will be lost.\nDo you want to continue?
answer Yes
    started: {home}/app/Vespro.exe -s "{home}/app/user/session/{session1}/Vespro.cfg" -p ""
    shows: nothing
sent
    to: {home}/lists/club.txt
    on behalf of: ""me@example.org
    body: A third mail
mail B
    body: Another mail
# The other window is used below the dialog of the one.
new D
command "Distribution File"
    shows: Vespro - Select Distribution File
activate B
command "Distribution File"
    shows: Vespro - Select Distribution File | Vespro - Select Distribution File
close
    shows: Vespro - Select Distribution File
close
    shows: nothing
# What comes to the front below a dialog does not take over its click.
new E
command "Distribution File"
    shows: Vespro - Select Distribution File
activate D
close
    shows: nothing
quit
held
    nothing
