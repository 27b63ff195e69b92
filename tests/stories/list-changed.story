# The list is chosen in one mail's window; both windows offer its columns at once.
file lists/club.csv
| First Name,E-mail,"City"
| Ann,ann@example.org,Rome
file lists/plain.txt
| ann@example.org
| ANN@example.org
set CustomWord1 Greeting
connect
    wrote: {home}/app/user/
    wrote: {home}/app/user/session/
new A
new B
show A Standard
    Standard / Vespro Attach: button, begins a group, style 1, face, action <!Vespro.Connect>, tooltip 'Vespro attachments for HTML email'
    Standard / Send Vespro: button, style 3, face, action <!Vespro.Connect>
    Standard / MailMerge with Vespro: box, action <!Vespro.Connect>
activate B
command "Distribution File"
    shows: Vespro - Select Distribution File
type TextSelectedFile "{home}/lists/club.csv"
click CmdOk
    shows: Vespro - Select Distribution File | Vespro CSV File
look ComboFields
    ComboFields: '', has the focus
        First Name
      * E-mail
        City
click CmdFinish
    shows: Vespro - Select Distribution File | Vespro CSV File | Vespro
    [?] Do you want to remove duplicate emails?
answer No
    shows: nothing
setting MailList
    '{home}/lists/club.csv,CSV,1,HEADER'
show A Standard
    Standard / Vespro Attach: button, begins a group, style 1, face, action <!Vespro.Connect>, tooltip 'Vespro attachments for HTML email'
    Standard / Send Vespro: button, style 3, face, action <!Vespro.Connect>
    Standard / MailMerge with Vespro: box, action <!Vespro.Connect>, entries 'FIRST_NAME' 'E-MAIL' 'CITY' 'Date & Time' 'Greeting'
show B Standard
    Standard / Vespro Attach: button, begins a group, style 1, face, action <!Vespro.Connect>, tooltip 'Vespro attachments for HTML email'
    Standard / Send Vespro: button, style 3, face, action <!Vespro.Connect>
    Standard / MailMerge with Vespro: box, action <!Vespro.Connect>, entries 'FIRST_NAME' 'E-MAIL' 'CITY' 'Date & Time' 'Greeting'
choose FIRST_NAME
choose Greeting
mail B
    body: #FIRST_NAME#GREETING
# A list of addresses has no columns. The other window asks this time.
activate A
command "Distribution File"
    shows: Vespro - Select Distribution File
look TextSelectedFile
    TextSelectedFile: '{home}/lists/club.csv', has the focus
type TextSelectedFile "{home}/lists/plain.txt"
click CmdOk
    shows: Vespro
    [?] Do you want to remove duplicate emails?
answer Yes
    wrote: {home}/lists/plain.txt
    shows: Emails Removed
click CmdClose
    shows: nothing
read lists/plain.txt
    | ann@example.org
setting MailList
    '{home}/lists/plain.txt,TEXT'
show A Standard
    Standard / Vespro Attach: button, begins a group, style 1, face, action <!Vespro.Connect>, tooltip 'Vespro attachments for HTML email'
    Standard / Send Vespro: button, style 3, face, action <!Vespro.Connect>
    Standard / MailMerge with Vespro: box, action <!Vespro.Connect>, text 'Switch to personalised mode for MailMerge'
show B Standard
    Standard / Vespro Attach: button, begins a group, style 1, face, action <!Vespro.Connect>, tooltip 'Vespro attachments for HTML email'
    Standard / Send Vespro: button, style 3, face, action <!Vespro.Connect>
    Standard / MailMerge with Vespro: box, action <!Vespro.Connect>, text 'Switch to personalised mode for MailMerge'
quit
held
    nothing
