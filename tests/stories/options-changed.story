# The mode and the words are changed in one mail's window; the lists of both follow.
file lists/club.csv
| Name,E-mail
| Ann,ann@example.org
set MailList "{home}/lists/club.csv,CSV,1,HEADER"
set CustomWord1 Greeting
set DefaultBccMode 1
connect
    wrote: {home}/app/user/
    wrote: {home}/app/user/session/
new A
new B
command "Options ..."
    shows: Vespro Options
click CmdMailMerge
    shows: Vespro Options | MailMerge With Vespro
type TextMailMerge1 ""
type TextMailMerge2 "Yours truly"
click OKButton
    shows: Vespro Options
show A Standard
    Standard / Vespro Attach: button, begins a group, style 1, face, action <!Vespro.Connect>, tooltip 'Vespro attachments for HTML email'
    Standard / Send Vespro: button, style 3, face, action <!Vespro.Connect>
    Standard / MailMerge with Vespro: box, action <!Vespro.Connect>, entries 'NAME' 'E-MAIL' 'Date & Time' 'Yours truly'
show B Standard
    Standard / Vespro Attach: button, begins a group, style 1, face, action <!Vespro.Connect>, tooltip 'Vespro attachments for HTML email'
    Standard / Send Vespro: button, style 3, face, action <!Vespro.Connect>
    Standard / MailMerge with Vespro: box, action <!Vespro.Connect>, entries 'NAME' 'E-MAIL' 'Date & Time' 'Yours truly'
click OptionTurboMode
type TextBccTo Members
click cmdOK
    shows: nothing
setting BccMode
    '1'
setting CommonToField
    'Members'
show A Standard
    Standard / Vespro Attach: button, begins a group, style 1, face, action <!Vespro.Connect>, tooltip 'Vespro attachments for HTML email'
    Standard / Send Vespro: button, style 3, face, action <!Vespro.Connect>
    Standard / MailMerge with Vespro: box, action <!Vespro.Connect>, text 'Switch to Personalised Mode for MailMerge'
show B Standard
    Standard / Vespro Attach: button, begins a group, style 1, face, action <!Vespro.Connect>, tooltip 'Vespro attachments for HTML email'
    Standard / Send Vespro: button, style 3, face, action <!Vespro.Connect>
    Standard / MailMerge with Vespro: box, action <!Vespro.Connect>, text 'Switch to Personalised Mode for MailMerge'
activate A
choose NAME
    cannot: the window in front has no box that offers 'NAME'
command "Options ..."
    shows: Vespro Options
click OptionPersonalisedMode
click cmdOK
    shows: nothing
choose "Yours truly"
mail A
    body: #YOURS TRULY
show B Standard
    Standard / Vespro Attach: button, begins a group, style 1, face, action <!Vespro.Connect>, tooltip 'Vespro attachments for HTML email'
    Standard / Send Vespro: button, style 3, face, action <!Vespro.Connect>
    Standard / MailMerge with Vespro: box, action <!Vespro.Connect>, entries 'NAME' 'E-MAIL' 'Date & Time' 'Yours truly'
quit
held
    nothing
