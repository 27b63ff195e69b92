# Faces of buttons and merge words go by the clipboard, which loses what the person had on it.
file lists/club.csv
| Name,E-mail
| Ann,ann@example.org
set MailList "{home}/lists/club.csv,CSV,1,HEADER"
connect
    wrote: {home}/app/user/
    wrote: {home}/app/user/session/
clipboard "my own text"
new A
pasteboard
    nothing
body A "Dear "
choose NAME
pasteboard
    '#NAME'
mail A
    body: Dear #NAME
# Another program holds the clipboard: nothing is pasted, and the same entry can be chosen again.
fail Desktop.SetClipboardText 1
choose NAME
mail A
    body: Dear #NAME
choose NAME
mail A
    body: Dear #NAME#NAME
# A button stays without its face, which could not be put there.
clipboard "my own text"
fail Desktop.SetClipboardPicture 2
new B
pasteboard
    nothing
show B Standard
    Standard / Vespro Attach: button, begins a group, style 1, action <!Vespro.Connect>, tooltip 'Vespro attachments for HTML email'
    Standard / Send Vespro: button, style 3, face, action <!Vespro.Connect>
    Standard / MailMerge with Vespro: box, action <!Vespro.Connect>, entries 'NAME' 'E-MAIL' 'Date & Time'
quit
held
    nothing
