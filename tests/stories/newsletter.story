# A newsletter, from an empty mail to the index of its report.
file lists/club.csv
| First Name,E-mail
| Ann,ann@example.org
| Ben,ben@example.org
set MailList "{home}/lists/club.csv,CSV,1,HEADER"
set SenderEmail me@example.org
set SenderName "Our Club"
set NumConnect 3
account mail.example.org 25
connect
    wrote: {home}/app/user/session/
new A
subject A Spring
body A "Dear "
choose FIRST_NAME
show A Standard
    Standard / Vespro Attach: button, begins a group, style 1, face, action <!Vespro.Connect>, tooltip 'Vespro attachments for HTML email'
    Standard / Send Vespro: button, style 3, face, action <!Vespro.Connect>
    Standard / MailMerge with Vespro: box, action <!Vespro.Connect>, entries 'FIRST_NAME' 'E-MAIL' 'Date & Time'
calls on
command "Send Vespro"
    > click A "Send Vespro"
    . Inspector.CurrentItem A
    . Item.SetSentOnBehalfOfName A ""Our Club"me@example.org"
    . Inspector.CurrentItem A
    . Inspector.Editor A
    . Item.Subject A
    . Item.Body A
    . Item.HtmlBody A
    . Item.AttachmentCount A
    . Inspector.Editor A
    . Inspector.CurrentItem A
    . Item.SetTo A "{home}/lists/club.csv"
    . MailClient.ActiveInspector
    . Inspector.CurrentItem A
    . Item.CloseAndSave A
    > close A
    . Inspector.Listen A nobody
    . Button.OnClick A "Send Vespro" nobody
    . Button.Delete A "Send Vespro"
    . ComboBox.OnChange A "MailMerge with Vespro" nobody
    . ComboBox.Delete A "MailMerge with Vespro"
    . Button.OnClick A "Distribution &File" nobody
    . Button.OnClick A "&Insert Attachment" nobody
    . Button.OnClick A "&Options ..." nobody
    . Button.OnClick A "&View && Refresh" nobody
    . Button.OnClick A "&Purge All" nobody
    . Button.OnClick A "&Entries per report page" nobody
    . Button.OnClick A "&Help File" nobody
    . Button.OnClick A "Tech &Support ..." nobody
    . Button.OnClick A "&About" nobody
    . Button.OnClick A "Vespro Attach" nobody
    . Button.Delete A "Vespro Attach"
    > activate main
    . Item.MoveToSentFolder A
    . Desktop.Start {home}/app/Vespro.exe -s "{home}/app/user/session/{session1}/Vespro.cfg" -p ""
    started: {home}/app/Vespro.exe -s "{home}/app/user/session/{session1}/Vespro.cfg" -p ""
    wrote: {home}/app/user/session/{session1}/
    wrote: {home}/app/user/session/{session1}/Vespro.cfg
    wrote: {home}/app/user/session/{session1}/Vespro.eml
calls off
sent
    to: {home}/lists/club.csv
    on behalf of: "Our Club"me@example.org
    subject: Spring
    body: Dear #FIRST_NAME
read "app/user/session/{session1}/Vespro.cfg"
    | CONNECTION=3
    | DISTRIBUTION FILE={home}/lists/club.csv,CSV,1,HEADER
    | MESSAGE FILE={home}/app/user/session/{session1}/Vespro.eml
    | HOST=mail.example.org,25,,
read "app/user/session/{session1}/Vespro.eml"
    | TO: 
    | FROM: "Our Club"<me@example.org>
    | MIME-Version: 1.0
    | Subject: Spring
    | Content-Type: text/plain; charset=UTF-8
    | Content-Transfer-Encoding: 7bit
    | 
    | Dear #FIRST_NAME
    | 
# The engine has nothing ready yet.
command "View & Refresh"
    shows: Vespro
    [i] No reports available
answer OK
    shows: nothing
file "app/user/session/{session1}/report.html"
| <html><head><title>Spring</title></head></html>
file "app/user/session/{session1}/report.txt"
| 2 sent
calls on
command "View & Refresh"
    > click main "&View && Refresh"
    . MailClient.ActiveExplorer
    . Explorer.Bars main
    . Bars.Item main "Web"
    . Bar.Find main "Web" id 1740
    . ComboBox.SetText main "Address:" "file://{home}/app/user/index.html"
    . ComboBox.Execute main "Address:"
    . Bar.SetVisible main "Web" yes
    wrote: {home}/app/user/index.html
calls off
command "Purge All"
    shows: Vespro
    [?] Are you sure you want to delete all HTML and TEXT reports?
answer No
    shows: nothing
command "Purge All"
    shows: Vespro
    [?] Are you sure you want to delete all HTML and TEXT reports?
answer Yes
    removed: {home}/app/user/session/{session1}/report.html
    removed: {home}/app/user/session/{session1}/report.txt
    [i] Reports purged
answer OK
    wrote: {home}/app/user/index.html
    shows: nothing
command "Entries per report page"
    shows: Vespro - No. of entries per report page
type TextAnswer 501
click CmdOk
    shows: Vespro
    [X] Cannot display more than  500 status per page
answer OK
    shows: nothing
command "Entries per report page"
    shows: Vespro - No. of entries per report page
type TextAnswer 50
click CmdOk
    shows: nothing
setting "Report Per Page"
    '50'
quit
held
    nothing
