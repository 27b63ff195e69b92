# Files for the reader, each mail with its own.
file a.txt
| one
file x/a.txt
| another one of that name
file "b, c.txt"
| with a comma
set RecentDir "{home}"
connect
    wrote: {home}/app/user/
    wrote: {home}/app/user/session/
new A
new B
command "Vespro Attach"
    shows: Vespro Attachments
look CmdRemove
    CmdRemove: '&Remove', disabled
press delete
click CmdAddAttach
    shows: Vespro Attachments | Insert Attachment
pick a.txt
    shows: Vespro Attachments
click CmdAddAttach
    shows: Vespro Attachments | Insert Attachment
pick {home}/x/a.txt
    shows: Vespro Attachments
click CmdAddAttach
    shows: Vespro Attachments | Insert Attachment
pick {home}/a.txt
    shows: Vespro Attachments | Vespro
    [i] {home}/a.txt is already attached
answer OK
    shows: Vespro Attachments
click CmdAddAttach
    shows: Vespro Attachments | Insert Attachment
pick {home}/b, c.txt
    shows: Vespro Attachments | Vespro
    [!] {home}/b, c.txt can't be attached, since its path has a comma in it. Rename the file, or copy it to another folder, and add that one.
answer OK
    shows: Vespro Attachments
click CmdAddAttach
    shows: Vespro Attachments | Insert Attachment
pick
    shows: Vespro Attachments
look ListViewDisplay
    ListViewDisplay: ''
        a.txt
        a.txt
look CmdRemove
    CmdRemove: '&Remove'
click CmdClose
    shows: nothing
# The frame's button keeps nothing of this.
command "Insert Attachment"
    shows: Vespro Attachments
select ListViewDisplay 1
press delete
look ListViewDisplay
    ListViewDisplay: '', has the focus
        a.txt
close
    shows: nothing
command "Insert Attachment"
    shows: Vespro Attachments
look ListViewDisplay
    ListViewDisplay: '', has the focus
        a.txt
        a.txt
# The other mail comes to the front below the dialog, and gets what is in it.
select ListViewDisplay 2
click CmdRemove
activate A
click CmdClose
    shows: nothing
command "Vespro Attach"
    shows: Vespro Attachments
look ListViewDisplay
    ListViewDisplay: '', has the focus
        a.txt
click CmdClose
    shows: nothing
quit
held
    nothing
