# The add-in is taken out and put in again while windows are open. Its menu is still there, and is used once.
connect
    wrote: {home}/app/user/
    wrote: {home}/app/user/session/
new A
calls on
disconnect
    . Button.OnClick main "Distribution &File" nobody
    . Button.OnClick main "&Insert Attachment" nobody
    . Button.OnClick main "&Options ..." nobody
    . Button.OnClick main "&View && Refresh" nobody
    . Button.OnClick main "&Purge All" nobody
    . Button.OnClick main "&Entries per report page" nobody
    . Button.OnClick main "&Help File" nobody
    . Button.OnClick main "Tech &Support ..." nobody
    . Button.OnClick main "&About" nobody
    . Inspectors.OnNewInspector nobody
    . Explorer.Listen main nobody
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
calls off
held
    nothing
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
command "Send Vespro"
    cannot: nothing called 'Send Vespro' can be used in the window in front
activate main
command "Distribution File"
connect
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
command "Distribution File"
    shows: Vespro - Select Distribution File
close
    shows: nothing
new B
show B
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
quit
held
    nothing
