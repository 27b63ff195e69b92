# The add-in ends with the last main window, while a mail is still in the making; its buttons go, too.
connect
    wrote: {home}/app/user/
    wrote: {home}/app/user/session/
new A
explorer second
close-window second
activate A
calls on
close-window main
    > close main
    . MailClient.ExplorerCount
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
new B
show B
    nothing of ours
held
    nothing
