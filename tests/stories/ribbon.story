# A version with ribbons has no Web bar and no Edit menu, and a window's bars may fail. Without being asked for a ribbon of its own the
# add-in is on bars.
file lists/club.csv
| Name,E-mail
| Ann,ann@example.org
file "app/user/session/first/report.html"
| <html><head><title>Spring</title></head></html>
file "app/user/session/first/report.txt"
| 2 sent
set MailList "{home}/lists/club.csv,CSV,1,HEADER"
set SenderEmail me@example.org
version 14.0.0.4760
lack Web
explorer ribbon
without ribbon
connect
new A html
choose NAME
mail A
    body: #NAME
fail Inspector.Bars 1
new B
show B
    nothing of ours
activate ribbon
command "View & Refresh"
    started: open {home}/app/user/index.html
    wrote: {home}/app/user/index.html
quit
held
    nothing
