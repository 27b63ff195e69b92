# What the options change is seen in every mail that is being composed.
file club.csv
| Mail,First name
| ann@example.org,Ann
set MailList "{home}/club.csv,CSV,0,HEADER"
set MaxNumConnect 10
set DefaultBccMode 100
connect
    wrote: {home}/app/user/
    wrote: {home}/app/user/session/
new A
new B html

# A phrase of one's own: the dialog of the words brings both mails up to date, before the options are done.
command "Options ..."
    shows: Vespro Options
click CmdMailMerge
    shows: Vespro Options | MailMerge With Vespro
type TextMailMerge1 " Kind regards "
press enter
    shows: Vespro Options
choose "Kind regards"
activate A
choose "Kind regards"

# One message to many: no merge words. Where it goes to must be said.
click OptionTurboMode
focus TextBccTo
click cmdOK
    shows: Vespro Options | Vespro
    [?] Missing common To: field for operation in Turbo Mode.  Do you want to set this value?
answer Yes
    shows: Vespro Options
type TextBccTo "All members"
click cmdOK
    shows: nothing
setting BccMode
    '100'
setting CommonToField
    'All members'
choose "Kind regards"
    cannot: the window in front has no box that offers 'Kind regards'

# And back, while the other mail is closed below the dialog.
command "Options ..."
    shows: Vespro Options
press alt+p
close-window B
click cmdOK
    shows: nothing
choose FIRST_NAME
mail A
    body: #KIND REGARDS#FIRST_NAME

# The accounts; they are asked for, too, when a mail is sent without any.
command "Options ..."
    shows: Vespro Options
select TabOptions "Mail Server"
click CmdMailSetting
    shows: Vespro Options | Vespro Accounts
close
    shows: Vespro Options
select TabOptions "Log File"
click CmdShowLogFiles
    started: explorer "{home}/app/user/session"
click CmdDeleteTempFiles
    shows: Vespro Options | Vespro
    [i] Log files deleted
answer OK
    shows: Vespro Options
click cmdCancel
    shows: nothing
command "Send Vespro"
    shows: Vespro Accounts
type TextServer smtp.example.org
click CheckNoAuthLogin
click CmdAdd
click CmdClose
    wrote: {home}/app/user/Vespro.db
    wrote: {home}/app/user/Vespro.db.lock
    shows: nothing
read app/user/Vespro.db
    | "smtp.example.org","25","",""
disconnect
held
    nothing
