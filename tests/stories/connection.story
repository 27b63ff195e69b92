# What the mail client is asked for when the add-in is loaded, when a mail is composed, and at the end.
calls on
connect
    . MailClient.Inspectors
    . Inspectors.OnNewInspector
    . MailClient.ActiveExplorer
    . Explorer.Listen main
    . Explorer.Bars main
    . Bars.Item main "Menu Bar"
    . Bar.FindByCaption main "Menu Bar" "&Vespro"
    . Bar.Add main "Menu Bar" type 10
    . Popup.SetCaption main "" "&Vespro"
    . Popup.SetTag main "&Vespro" "Vespro"
    . Popup.SetOnAction main "Vespro" "<!Vespro.Connect>"
    . Popup.Bar main "Vespro"
    . Bar.Add main "Vespro" type 1
    . Button.SetCaption main "" "Distribution &File"
    . Button.SetTag main "Distribution &File" "Distribution &File"
    . Button.SetOnAction main "Distribution &File" "<!Vespro.Connect>"
    . Button.OnClick main "Distribution &File"
    . Bar.Add main "Vespro" type 1
    . Button.SetCaption main "" "&Insert Attachment"
    . Button.SetTag main "&Insert Attachment" "&Insert Attachment"
    . Button.SetOnAction main "&Insert Attachment" "<!Vespro.Connect>"
    . Button.OnClick main "&Insert Attachment"
    . Desktop.ClearClipboard
    . Desktop.SetClipboardPicture PAPERCLIP icon
    . Button.PasteFace main "&Insert Attachment" PAPERCLIP
    . Desktop.ClearClipboard
    . Bar.Add main "Vespro" type 1
    . Button.SetCaption main "" "&Options ..."
    . Button.SetTag main "&Options ..." "&Options ..."
    . Button.SetOnAction main "&Options ..." "<!Vespro.Connect>"
    . Button.OnClick main "&Options ..."
    . Bar.Add main "Vespro" type 10
    . Popup.SetCaption main "" "&Delivery Reports"
    . Popup.SetTag main "&Delivery Reports" "&Delivery Reports"
    . Popup.SetOnAction main "&Delivery Reports" "<!Vespro.Connect>"
    . Popup.Bar main "&Delivery Reports"
    . Bar.Add main "&Delivery Reports" type 1
    . Button.SetCaption main "" "&View && Refresh"
    . Button.SetTag main "&View && Refresh" "&View && Refresh"
    . Button.SetOnAction main "&View && Refresh" "<!Vespro.Connect>"
    . Button.OnClick main "&View && Refresh"
    . Bar.Add main "&Delivery Reports" type 1
    . Button.SetCaption main "" "&Purge All"
    . Button.SetTag main "&Purge All" "&Purge All"
    . Button.SetOnAction main "&Purge All" "<!Vespro.Connect>"
    . Button.OnClick main "&Purge All"
    . Bar.Add main "&Delivery Reports" type 1
    . Button.SetCaption main "" "&Entries per report page"
    . Button.SetTag main "&Entries per report page" "&Entries per report page"
    . Button.SetOnAction main "&Entries per report page" "<!Vespro.Connect>"
    . Button.OnClick main "&Entries per report page"
    . Bar.Add main "Vespro" type 1
    . Button.SetCaption main "" "&Help File"
    . Button.SetTag main "&Help File" "&Help File"
    . Button.SetOnAction main "&Help File" "<!Vespro.Connect>"
    . Button.OnClick main "&Help File"
    . Bar.Add main "Vespro" type 1
    . Button.SetCaption main "" "Tech &Support ..."
    . Button.SetTag main "Tech &Support ..." "Tech &Support ..."
    . Button.SetOnAction main "Tech &Support ..." "<!Vespro.Connect>"
    . Button.OnClick main "Tech &Support ..."
    . Bar.Add main "Vespro" type 1
    . Button.SetCaption main "" "&About"
    . Button.SetTag main "&About" "&About"
    . Button.SetOnAction main "&About" "<!Vespro.Connect>"
    . Button.OnClick main "&About"
    . Popup.SetEnabled main "&Delivery Reports" yes
    . Button.SetVisible main "&Insert Attachment" no
    . Button.SetEnabled main "Distribution &File" yes
    . Button.SetEnabled main "&Options ..." yes
    . Button.SetEnabled main "&View && Refresh" yes
    . Button.SetEnabled main "&Purge All" yes
    . Button.SetEnabled main "&Entries per report page" yes
    . Button.SetEnabled main "&Help File" yes
    . Button.SetEnabled main "Tech &Support ..." yes
    . Button.SetEnabled main "&About" yes
    wrote: {home}/app/user/
    wrote: {home}/app/user/session/
new A
    > new inspector A
    . Inspector.CurrentItem A
    . Item.Class A
    . Inspector.IsWordMail A
    . Inspector.Listen A
    . Inspector.Bars A
    . Bars.Item A "Menu Bar"
    . Bar.FindByCaption A "Menu Bar" "&Vespro"
    . Bar.Add A "Menu Bar" type 10
    . Popup.SetCaption A "" "&Vespro"
    . Popup.SetTag A "&Vespro" "Vespro"
    . Popup.SetOnAction A "Vespro" "<!Vespro.Connect>"
    . Popup.Bar A "Vespro"
    . Bar.Add A "Vespro" type 1
    . Button.SetCaption A "" "Distribution &File"
    . Button.SetTag A "Distribution &File" "Distribution &File"
    . Button.SetOnAction A "Distribution &File" "<!Vespro.Connect>"
    . Button.OnClick A "Distribution &File"
    . Bar.Add A "Vespro" type 1
    . Button.SetCaption A "" "&Insert Attachment"
    . Button.SetTag A "&Insert Attachment" "&Insert Attachment"
    . Button.SetOnAction A "&Insert Attachment" "<!Vespro.Connect>"
    . Button.OnClick A "&Insert Attachment"
    . Desktop.ClearClipboard
    . Desktop.SetClipboardPicture PAPERCLIP icon
    . Button.PasteFace A "&Insert Attachment" PAPERCLIP
    . Desktop.ClearClipboard
    . Bar.Add A "Vespro" type 1
    . Button.SetCaption A "" "&Options ..."
    . Button.SetTag A "&Options ..." "&Options ..."
    . Button.SetOnAction A "&Options ..." "<!Vespro.Connect>"
    . Button.OnClick A "&Options ..."
    . Bar.Add A "Vespro" type 10
    . Popup.SetCaption A "" "&Delivery Reports"
    . Popup.SetTag A "&Delivery Reports" "&Delivery Reports"
    . Popup.SetOnAction A "&Delivery Reports" "<!Vespro.Connect>"
    . Popup.Bar A "&Delivery Reports"
    . Bar.Add A "&Delivery Reports" type 1
    . Button.SetCaption A "" "&View && Refresh"
    . Button.SetTag A "&View && Refresh" "&View && Refresh"
    . Button.SetOnAction A "&View && Refresh" "<!Vespro.Connect>"
    . Button.OnClick A "&View && Refresh"
    . Bar.Add A "&Delivery Reports" type 1
    . Button.SetCaption A "" "&Purge All"
    . Button.SetTag A "&Purge All" "&Purge All"
    . Button.SetOnAction A "&Purge All" "<!Vespro.Connect>"
    . Button.OnClick A "&Purge All"
    . Bar.Add A "&Delivery Reports" type 1
    . Button.SetCaption A "" "&Entries per report page"
    . Button.SetTag A "&Entries per report page" "&Entries per report page"
    . Button.SetOnAction A "&Entries per report page" "<!Vespro.Connect>"
    . Button.OnClick A "&Entries per report page"
    . Bar.Add A "Vespro" type 1
    . Button.SetCaption A "" "&Help File"
    . Button.SetTag A "&Help File" "&Help File"
    . Button.SetOnAction A "&Help File" "<!Vespro.Connect>"
    . Button.OnClick A "&Help File"
    . Bar.Add A "Vespro" type 1
    . Button.SetCaption A "" "Tech &Support ..."
    . Button.SetTag A "Tech &Support ..." "Tech &Support ..."
    . Button.SetOnAction A "Tech &Support ..." "<!Vespro.Connect>"
    . Button.OnClick A "Tech &Support ..."
    . Bar.Add A "Vespro" type 1
    . Button.SetCaption A "" "&About"
    . Button.SetTag A "&About" "&About"
    . Button.SetOnAction A "&About" "<!Vespro.Connect>"
    . Button.OnClick A "&About"
    . Popup.SetVisible A "&Delivery Reports" no
    . Button.SetEnabled A "&Insert Attachment" yes
    . Button.SetTooltipText A "&Insert Attachment" "HTML mail can attach file here\nThe usual Outlook Insert File will not work"
    . Button.SetEnabled A "Distribution &File" yes
    . Button.SetEnabled A "&Options ..." yes
    . Button.SetEnabled A "&View && Refresh" yes
    . Button.SetEnabled A "&Purge All" yes
    . Button.SetEnabled A "&Entries per report page" yes
    . Button.SetEnabled A "&Help File" yes
    . Button.SetEnabled A "Tech &Support ..." yes
    . Button.SetEnabled A "&About" yes
    . Bars.Item A "Standard"
    . Bar.Find A "Standard" type 1 tag "Vespro Attach"
    . Bar.Add A "Standard" type 1
    . Button.SetCaption A "" "Vespro Attach"
    . Button.SetBeginGroup A "Vespro Attach" yes
    . Button.SetTag A "Vespro Attach" "Vespro Attach"
    . Button.SetOnAction A "Vespro Attach" "<!Vespro.Connect>"
    . Button.SetStyle A "Vespro Attach" 1
    . Button.SetTooltipText A "Vespro Attach" "Vespro attachments for HTML email"
    . Desktop.ClearClipboard
    . Desktop.SetClipboardPicture PAPERCLIP icon
    . Button.PasteFace A "Vespro Attach" PAPERCLIP
    . Desktop.ClearClipboard
    . Button.OnClick A "Vespro Attach"
    . Bar.Find A "Standard" type 1 tag "Send Vespro"
    . Bar.Add A "Standard" type 1
    . Button.SetCaption A "" "Send Vespro"
    . Button.SetBeginGroup A "Send Vespro" no
    . Button.SetTag A "Send Vespro" "Send Vespro"
    . Button.SetOnAction A "Send Vespro" "<!Vespro.Connect>"
    . Button.SetStyle A "Send Vespro" 3
    . Button.SetCaption A "Send Vespro" "Send Vespro"
    . Desktop.ClearClipboard
    . Desktop.SetClipboardPicture MAILBMP bitmap
    . Button.PasteFace A "Send Vespro" MAILBMP
    . Desktop.ClearClipboard
    . Button.OnClick A "Send Vespro"
    . Bar.Find A "Standard" type 4 tag "MailMerge with Vespro"
    . Bar.Add A "Standard" type 4
    . ComboBox.SetCaption A "" "MailMerge with Vespro"
    . ComboBox.SetTag A "MailMerge with Vespro" "MailMerge with Vespro"
    . ComboBox.SetOnAction A "MailMerge with Vespro" "<!Vespro.Connect>"
    . ComboBox.Clear A "MailMerge with Vespro"
    . ComboBox.SetText A "MailMerge with Vespro" ""
    . ComboBox.SetCaption A "MailMerge with Vespro" "MailMerge with Vespro"
    . ComboBox.OnChange A "MailMerge with Vespro"
    > deactivate main
    > activate A
show main
    Menu Bar / &Vespro: popup, tag Vespro, action <!Vespro.Connect>
    Menu Bar / &Vespro / Distribution &File: button, action <!Vespro.Connect>
    Menu Bar / &Vespro / &Insert Attachment: button, face, hidden, action <!Vespro.Connect>
    Menu Bar / &Vespro / &Options ...: button, action <!Vespro.Connect>
    Menu Bar / &Vespro / &Delivery Reports: popup, action <!Vespro.Connect>
    Menu Bar / &Vespro / &Delivery Reports / &View && Refresh: button, action <!Vespro.Connect>
    Menu Bar / &Vespro / &Delivery Reports / &Purge All: button, action <!Vespro.Connect>
    Menu Bar / &Vespro / &Delivery Reports / &Entries per report page: button, action <!Vespro.Connect>
    Menu Bar / &Vespro / &Help File: button, action <!Vespro.Connect>
    Menu Bar / &Vespro / Tech &Support ...: button, action <!Vespro.Connect>
    Menu Bar / &Vespro / &About: button, action <!Vespro.Connect>
show A
    Menu Bar / &Vespro: popup, tag Vespro, action <!Vespro.Connect>
    Menu Bar / &Vespro / Distribution &File: button, action <!Vespro.Connect>
    Menu Bar / &Vespro / &Insert Attachment: button, face, action <!Vespro.Connect>, tooltip 'HTML mail can attach file here\nThe usual Outlook Insert File will not work'
    Menu Bar / &Vespro / &Options ...: button, action <!Vespro.Connect>
    Menu Bar / &Vespro / &Delivery Reports: popup, hidden, action <!Vespro.Connect>
    Menu Bar / &Vespro / &Delivery Reports / &View && Refresh: button, action <!Vespro.Connect>
    Menu Bar / &Vespro / &Delivery Reports / &Purge All: button, action <!Vespro.Connect>
    Menu Bar / &Vespro / &Delivery Reports / &Entries per report page: button, action <!Vespro.Connect>
    Menu Bar / &Vespro / &Help File: button, action <!Vespro.Connect>
    Menu Bar / &Vespro / Tech &Support ...: button, action <!Vespro.Connect>
    Menu Bar / &Vespro / &About: button, action <!Vespro.Connect>
    Standard / Vespro Attach: button, begins a group, style 1, face, action <!Vespro.Connect>, tooltip 'Vespro attachments for HTML email'
    Standard / Send Vespro: button, style 3, face, action <!Vespro.Connect>
    Standard / MailMerge with Vespro: box, action <!Vespro.Connect>
calls on
activate main
    > deactivate A
    > activate main
activate main
close-window A
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
quit
    . Button.OnClick main "Distribution &File" nobody -> gone
    . Button.OnClick main "&Insert Attachment" nobody -> gone
    . Button.OnClick main "&Options ..." nobody -> gone
    . Button.OnClick main "&View && Refresh" nobody -> gone
    . Button.OnClick main "&Purge All" nobody -> gone
    . Button.OnClick main "&Entries per report page" nobody -> gone
    . Button.OnClick main "&Help File" nobody -> gone
    . Button.OnClick main "Tech &Support ..." nobody -> gone
    . Button.OnClick main "&About" nobody -> gone
    . Inspectors.OnNewInspector nobody
    . Explorer.Listen main nobody -> gone
held
    nothing
