# The help can't be shown, and the next time it can.
connect
    wrote: {home}/app/user/
    wrote: {home}/app/user/session/
fail Desktop.Start 1
command "Help File"
    shows: Vespro
    [!] Error 0x5: the system refuses
answer OK
    shows: nothing
command "Help File"
    started: hh.exe {home}/app/vespro.chm
quit
held
    nothing
