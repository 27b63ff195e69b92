# The main window's menu is there for folders of mails only, and as long as that window is in front.
connect
    wrote: {home}/app/user/
    wrote: {home}/app/user/session/
folder 1
command "Distribution File"
    cannot: nothing called 'Distribution File' can be used in the window in front
folder none
command "Distribution File"
    cannot: nothing called 'Distribution File' can be used in the window in front
folder 0
command "Distribution File"
    shows: Vespro - Select Distribution File
close
    shows: nothing
# A client that does not tell a window that it is behind: still one dialog opens at a time.
without deactivate
new A
command "Distribution File"
    shows: Vespro - Select Distribution File
close
    shows: nothing
activate main
command "Distribution File"
    shows: Vespro - Select Distribution File
close
    shows: nothing
new B
activate A
command "Distribution File"
    shows: Vespro - Select Distribution File
close
    shows: nothing
command "Help File"
    started: hh.exe {home}/app/vespro.chm
command About
    shows: About Vespro
close
    shows: nothing
quit
held
    nothing
