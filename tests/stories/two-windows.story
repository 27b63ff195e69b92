# Two mails are in the making. A click reaches both, and only the one in front is sent.
file lists/club.txt
| ann@example.org
| ben@example.org
set MailList "{home}/lists/club.txt,TEXT"
set SenderEmail me@example.org
set SenderName "Our Club"
set "Report Per Page" 20
account mail.example.org 25
connect
    wrote: {home}/app/user/session/
new A
subject A "To one half"
new B
subject B "To the other half"
body B
| Good morning,
|
| the meeting is on Monday.
calls on
command "Send Vespro"
    > click A "Send Vespro"
    > click B "Send Vespro"
    . Inspector.CurrentItem B
    . Item.SetSentOnBehalfOfName B ""Our Club"me@example.org"
    . Inspector.CurrentItem B
    . Inspector.Editor B
    . Item.Subject B
    . Item.Body B
    . Item.HtmlBody B
    . Item.AttachmentCount B
    . Inspector.Editor B
    . Inspector.CurrentItem B
    . Item.SetTo B "{home}/lists/club.txt"
    . MailClient.ActiveInspector
    . Inspector.CurrentItem B
    . Item.CloseAndSave B
    > close B
    . Inspector.Listen B nobody
    . Button.OnClick B "Send Vespro" nobody
    . Button.Delete B "Send Vespro"
    . ComboBox.OnChange B "MailMerge with Vespro" nobody
    . ComboBox.Delete B "MailMerge with Vespro"
    . Button.OnClick B "Distribution &File" nobody
    . Button.OnClick B "&Insert Attachment" nobody
    . Button.OnClick B "&Options ..." nobody
    . Button.OnClick B "&View && Refresh" nobody
    . Button.OnClick B "&Purge All" nobody
    . Button.OnClick B "&Entries per report page" nobody
    . Button.OnClick B "&Help File" nobody
    . Button.OnClick B "Tech &Support ..." nobody
    . Button.OnClick B "&About" nobody
    . Button.OnClick B "Vespro Attach" nobody
    . Button.Delete B "Vespro Attach"
    > activate A
    . Item.MoveToSentFolder B
    . Desktop.Start {home}/app/Vespro.exe -s "{home}/app/user/session/{session1}/Vespro.cfg" -p "20"
    started: {home}/app/Vespro.exe -s "{home}/app/user/session/{session1}/Vespro.cfg" -p "20"
    wrote: {home}/app/user/session/{session1}/
    wrote: {home}/app/user/session/{session1}/Vespro.cfg
    wrote: {home}/app/user/session/{session1}/Vespro.eml
calls off
sent
    to: {home}/lists/club.txt
    on behalf of: "Our Club"me@example.org
    subject: To the other half
    body: Good morning,\n\nthe meeting is on Monday.\n
read "app/user/session/{session1}/Vespro.cfg"
    | DISTRIBUTION FILE={home}/lists/club.txt,TEXT
    | MESSAGE FILE={home}/app/user/session/{session1}/Vespro.eml
    | HOST=mail.example.org,25,,
read "app/user/session/{session1}/Vespro.eml"
    | TO: 
    | FROM: "Our Club"<me@example.org>
    | MIME-Version: 1.0
    | Subject: To the other half
    | Content-Type: text/plain; charset=UTF-8
    | Content-Transfer-Encoding: 7bit
    | 
    | Good morning,
    | 
    | the meeting is on Monday.
    | 
# The first one is in front now, as it was.
mail A
    subject: To one half
show A Standard
    Standard / Vespro Attach: button, begins a group, style 1, face, action <!Vespro.Connect>, tooltip 'Vespro attachments for HTML email'
    Standard / Send Vespro: button, style 3, face, action <!Vespro.Connect>
    Standard / MailMerge with Vespro: box, action <!Vespro.Connect>, text 'Switch to personalised mode for MailMerge'
command "Send Vespro"
    started: {home}/app/Vespro.exe -s "{home}/app/user/session/{session2}/Vespro.cfg" -p "20"
    wrote: {home}/app/user/session/{session2}/
    wrote: {home}/app/user/session/{session2}/Vespro.cfg
    wrote: {home}/app/user/session/{session2}/Vespro.eml
sent
    to: {home}/lists/club.txt
    on behalf of: "Our Club"me@example.org
    subject: To the other half
    body: Good morning,\n\nthe meeting is on Monday.\n
    to: {home}/lists/club.txt
    on behalf of: "Our Club"me@example.org
    subject: To one half
# The older window is sent: the newer one comes to the front while the click is still on its way there.
new C
body C "older"
new D
body D "newer"
activate C
command "Send Vespro"
    started: {home}/app/Vespro.exe -s "{home}/app/user/session/{session3}/Vespro.cfg" -p "20"
    wrote: {home}/app/user/session/{session3}/
    wrote: {home}/app/user/session/{session3}/Vespro.cfg
    wrote: {home}/app/user/session/{session3}/Vespro.eml
sent
    to: {home}/lists/club.txt
    on behalf of: "Our Club"me@example.org
    subject: To the other half
    body: Good morning,\n\nthe meeting is on Monday.\n
    to: {home}/lists/club.txt
    on behalf of: "Our Club"me@example.org
    subject: To one half
    to: {home}/lists/club.txt
    on behalf of: "Our Club"me@example.org
    body: older
mail D
    body: newer
command "Send Vespro"
    started: {home}/app/Vespro.exe -s "{home}/app/user/session/{session4}/Vespro.cfg" -p "20"
    wrote: {home}/app/user/session/{session4}/
    wrote: {home}/app/user/session/{session4}/Vespro.cfg
    wrote: {home}/app/user/session/{session4}/Vespro.eml
sent
    to: {home}/lists/club.txt
    on behalf of: "Our Club"me@example.org
    subject: To the other half
    body: Good morning,\n\nthe meeting is on Monday.\n
    to: {home}/lists/club.txt
    on behalf of: "Our Club"me@example.org
    subject: To one half
    to: {home}/lists/club.txt
    on behalf of: "Our Club"me@example.org
    body: older
    to: {home}/lists/club.txt
    on behalf of: "Our Club"me@example.org
    body: newer
quit
held
    nothing
