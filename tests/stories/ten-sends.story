# Ten mails go out within one second. The eleventh waits for the next one: nobody's job is written over.
file lists/club.txt
| ann@example.org
set MailList "{home}/lists/club.txt,TEXT"
set SenderEmail me@example.org
account mail.example.org 25
connect
    wrote: {home}/app/user/session/
new M1
body M1 "number 1"
command "Send Vespro"
    started: {home}/app/Vespro.exe -s "{home}/app/user/session/{session1}/Vespro.cfg" -p ""
    wrote: {home}/app/user/session/{session1}/
    wrote: {home}/app/user/session/{session1}/Vespro.cfg
    wrote: {home}/app/user/session/{session1}/Vespro.eml
new M2
body M2 "number 2"
command "Send Vespro"
    started: {home}/app/Vespro.exe -s "{home}/app/user/session/{session2}/Vespro.cfg" -p ""
    wrote: {home}/app/user/session/{session2}/
    wrote: {home}/app/user/session/{session2}/Vespro.cfg
    wrote: {home}/app/user/session/{session2}/Vespro.eml
new M3
body M3 "number 3"
command "Send Vespro"
    started: {home}/app/Vespro.exe -s "{home}/app/user/session/{session3}/Vespro.cfg" -p ""
    wrote: {home}/app/user/session/{session3}/
    wrote: {home}/app/user/session/{session3}/Vespro.cfg
    wrote: {home}/app/user/session/{session3}/Vespro.eml
new M4
body M4 "number 4"
command "Send Vespro"
    started: {home}/app/Vespro.exe -s "{home}/app/user/session/{session4}/Vespro.cfg" -p ""
    wrote: {home}/app/user/session/{session4}/
    wrote: {home}/app/user/session/{session4}/Vespro.cfg
    wrote: {home}/app/user/session/{session4}/Vespro.eml
new M5
body M5 "number 5"
command "Send Vespro"
    started: {home}/app/Vespro.exe -s "{home}/app/user/session/{session5}/Vespro.cfg" -p ""
    wrote: {home}/app/user/session/{session5}/
    wrote: {home}/app/user/session/{session5}/Vespro.cfg
    wrote: {home}/app/user/session/{session5}/Vespro.eml
new M6
body M6 "number 6"
command "Send Vespro"
    started: {home}/app/Vespro.exe -s "{home}/app/user/session/{session6}/Vespro.cfg" -p ""
    wrote: {home}/app/user/session/{session6}/
    wrote: {home}/app/user/session/{session6}/Vespro.cfg
    wrote: {home}/app/user/session/{session6}/Vespro.eml
new M7
body M7 "number 7"
command "Send Vespro"
    started: {home}/app/Vespro.exe -s "{home}/app/user/session/{session7}/Vespro.cfg" -p ""
    wrote: {home}/app/user/session/{session7}/
    wrote: {home}/app/user/session/{session7}/Vespro.cfg
    wrote: {home}/app/user/session/{session7}/Vespro.eml
new M8
body M8 "number 8"
command "Send Vespro"
    started: {home}/app/Vespro.exe -s "{home}/app/user/session/{session8}/Vespro.cfg" -p ""
    wrote: {home}/app/user/session/{session8}/
    wrote: {home}/app/user/session/{session8}/Vespro.cfg
    wrote: {home}/app/user/session/{session8}/Vespro.eml
new M9
body M9 "number 9"
command "Send Vespro"
    started: {home}/app/Vespro.exe -s "{home}/app/user/session/{session9}/Vespro.cfg" -p ""
    wrote: {home}/app/user/session/{session9}/
    wrote: {home}/app/user/session/{session9}/Vespro.cfg
    wrote: {home}/app/user/session/{session9}/Vespro.eml
new M10
body M10 "number 10"
command "Send Vespro"
    started: {home}/app/Vespro.exe -s "{home}/app/user/session/{session10}/Vespro.cfg" -p ""
    wrote: {home}/app/user/session/{session10}/
    wrote: {home}/app/user/session/{session10}/Vespro.cfg
    wrote: {home}/app/user/session/{session10}/Vespro.eml
new M11
body M11 "number 11"
command "Send Vespro"
    started: {home}/app/Vespro.exe -s "{home}/app/user/session/{session11}/Vespro.cfg" -p ""
    wrote: {home}/app/user/session/{session11}/
    wrote: {home}/app/user/session/{session11}/Vespro.cfg
    wrote: {home}/app/user/session/{session11}/Vespro.eml
read "app/user/session/{session1}/Vespro.eml"
    | TO: 
    | FROM: me@example.org
    | MIME-Version: 1.0
    | Subject: 
    | Content-Type: text/plain; charset=UTF-8
    | Content-Transfer-Encoding: 7bit
    | 
    | number 1
    | 
read "app/user/session/{session11}/Vespro.eml"
    | TO: 
    | FROM: me@example.org
    | MIME-Version: 1.0
    | Subject: 
    | Content-Type: text/plain; charset=UTF-8
    | Content-Transfer-Encoding: 7bit
    | 
    | number 11
    | 
quit
held
    nothing
