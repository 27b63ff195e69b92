# Where there is no room for the user's data, everything that needs it says so, and nothing is written.
file app/user
| in the way
file app/unknown
| in the way, too
file lists/club.txt
| ann@example.org
set MailList "{home}/lists/club.txt,TEXT"
set SenderEmail me@example.org
connect
    shows: Vespro
    [X] Cannot create user profile
answer OK
    shows: nothing
show main
    nothing of ours
new A
command "Send Vespro"
    shows: Vespro
    [X] Cannot create user profile
answer OK
    shows: nothing
command "Distribution File"
    shows: Vespro
    [X] Cannot create user profile
answer OK
    shows: nothing
command "Options ..."
    shows: Vespro
    [X] Cannot create user profile
answer OK
    shows: nothing
command "Tech Support ..."
    shows: Vespro
    [X] Cannot create user profile
answer OK
    shows: nothing
command "Vespro Attach"
    shows: Vespro
    [X] Cannot create user profile
answer OK
    shows: nothing
quit
held
    nothing
