# A client without the bars that buttons are put on gets the rest.
lack Standard
new before
connect
    wrote: {home}/app/user/
    wrote: {home}/app/user/session/
new A
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
lack "Menu Bar"
new B
show B
    nothing of ours
quit
held
    nothing
