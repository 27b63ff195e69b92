# Each command in each kind of window, once. It is the same in all versions of the mail client.
file lists/club.csv
| Name,E-mail
| Ann,ann@example.org
set MailList "{home}/lists/club.csv,CSV,1,HEADER"
set SenderEmail me@example.org
account mail.example.org 25
connect
    wrote: {home}/app/user/session/
command "Distribution File"
    shows: Vespro - Select Distribution File
close
    shows: nothing
command "Options ..."
    shows: Vespro Options
close
    shows: nothing
command "View & Refresh"
    shows: Vespro
    [i] No reports available
answer OK
    shows: nothing
command "Purge All"
    shows: Vespro
    [?] Are you sure you want to delete all HTML and TEXT reports?
answer No
    shows: nothing
command "Entries per report page"
    shows: Vespro - No. of entries per report page
close
    shows: nothing
command "Help File"
    started: hh.exe {home}/app/vespro.chm
command "Tech Support ..."
    shows: Technical Support
close
    shows: nothing
command About
    shows: About Vespro
close
    shows: nothing
# Commands of the other kind of window are not there.
command "Insert Attachment"
    cannot: nothing called 'Insert Attachment' can be used in the window in front
command "Send Vespro"
    cannot: nothing called 'Send Vespro' can be used in the window in front
folder 1
command About
    cannot: nothing called 'About' can be used in the window in front
folder 0
command About
    shows: About Vespro
close
    shows: nothing
new A
subject A Spring
body A "Dear "
command "Distribution File"
    shows: Vespro - Select Distribution File
close
    shows: nothing
command "Insert Attachment"
    shows: Vespro Attachments
close
    shows: nothing
command "Vespro Attach"
    shows: Vespro Attachments
close
    shows: nothing
command "Options ..."
    shows: Vespro Options
close
    shows: nothing
command "Help File"
    started: hh.exe {home}/app/vespro.chm
command "Tech Support ..."
    shows: Technical Support
close
    shows: nothing
command About
    shows: About Vespro
close
    shows: nothing
command "Purge All"
    cannot: nothing called 'Purge All' can be used in the window in front
choose NAME
choose NAME
mail A
    subject: Spring
    body: Dear #NAME#NAME
# Two mails and the main window: the one that is used acts.
new B
subject B Plain
body B Hello
choose NAME
mail A
    subject: Spring
    body: Dear #NAME#NAME
mail B
    subject: Plain
    body: Hello#NAME
activate A
command "Send Vespro"
    started: {home}/app/Vespro.exe -s "{home}/app/user/session/{session1}/Vespro.cfg" -p ""
    wrote: {home}/app/user/session/{session1}/
    wrote: {home}/app/user/session/{session1}/Vespro.cfg
    wrote: {home}/app/user/session/{session1}/Vespro.eml
sent
    to: {home}/lists/club.csv
    on behalf of: ""me@example.org
    subject: Spring
    body: Dear #NAME#NAME
mail B
    subject: Plain
    body: Hello#NAME
command About
    shows: About Vespro
close
    shows: nothing
activate main
command "Distribution File"
    shows: Vespro - Select Distribution File
close
    shows: nothing
activate B
command "Send Vespro"
    started: {home}/app/Vespro.exe -s "{home}/app/user/session/{session2}/Vespro.cfg" -p ""
    wrote: {home}/app/user/session/{session2}/
    wrote: {home}/app/user/session/{session2}/Vespro.cfg
    wrote: {home}/app/user/session/{session2}/Vespro.eml
sent
    to: {home}/lists/club.csv
    on behalf of: ""me@example.org
    subject: Spring
    body: Dear #NAME#NAME
    to: {home}/lists/club.csv
    on behalf of: ""me@example.org
    subject: Plain
    body: Hello#NAME
# The words that are offered follow the list.
new C
file lists/club.txt
| ann@example.org
command "Distribution File"
    shows: Vespro - Select Distribution File
type TextSelectedFile "{home}/lists/club.txt"
click CmdOk
    shows: Vespro
    [?] Do you want to remove duplicate emails?
answer No
    shows: nothing
choose NAME
    cannot: the window in front has no box that offers 'NAME'
close-window C
activate main
command About
    shows: About Vespro
close
    shows: nothing
quit
held
    nothing
