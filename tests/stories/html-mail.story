# In an HTML mail the client's own attachments are its pictures; files for the reader go by the paperclip.
file lists/club.txt
| ann@example.org
file files/logo.png
| not really a picture
file files/Terms.txt
| These are the terms.
set MailList "{home}/lists/club.txt,TEXT"
set SenderEmail me@example.org
account mail.example.org 25
connect
    wrote: {home}/app/user/session/
new A html
subject A Spring
body A "See the logo."
html A
| <body background=cid:logo.png><p>See <img src="cid:logo.png"></p></body>
attach A "{home}/files/logo.png"
command "Vespro Attach"
    shows: Vespro Attachments
click CmdAddAttach
    shows: Vespro Attachments | Insert Attachment
pick {home}/files/Terms.txt
    shows: Vespro Attachments
look ListViewDisplay
    ListViewDisplay: ''
        Terms.txt
click CmdClose
    shows: nothing
command "Send Vespro"
    started: {home}/app/Vespro.exe -s "{home}/app/user/session/{session1}/Vespro.cfg" -p ""
    wrote: {home}/app/user/session/{session1}/
    wrote: {home}/app/user/session/{session1}/Vespro.cfg
    wrote: {home}/app/user/session/{session1}/Vespro.eml
read "app/user/session/{session1}/Vespro.eml"
    | TO: 
    | FROM: me@example.org
    | MIME-Version: 1.0
    | Subject: Spring
    | Content-Type: multipart/mixed;
    |  boundary="{boundary1}"
    | 
    | --{boundary1}
    | Content-Type: multipart/alternative;
    |  boundary="{boundary2}"
    | 
    | --{boundary2}
    | Content-Type: text/plain; charset=UTF-8
    | Content-Transfer-Encoding: 7bit
    | 
    | See the logo.
    | --{boundary2}
    | Content-Type: multipart/related;
    |  type="text/html";
    |  boundary="{boundary3}"
    | 
    | --{boundary3}
    | Content-Type: text/html; charset=UTF-8
    | Content-Transfer-Encoding: 7bit
    | 
    | <body background="cid:logo.png"><p>See <img src="cid:logo.png"></p></body>
    | 
    | --{boundary3}
    | Content-Type: image/png;
    |  name=logo.png
    | Content-Transfer-Encoding: base64
    | Content-ID: <logo.png>
    | Content-Disposition: inline;
    |  filename=logo.png
    | 
    | bm90IHJlYWxseSBhIHBpY3R1cmUNCg==
    | 
    | --{boundary3}--
    | 
    | --{boundary2}--
    | 
    | --{boundary1}
    | Content-Type: text/plain;
    |  name=Terms.txt
    | Content-Transfer-Encoding: base64
    | Content-Disposition: attachment;
    |  filename=Terms.txt
    | 
    | VGhlc2UgYXJlIHRoZSB0ZXJtcy4NCg==
    | 
    | --{boundary1}--
    | 
sent
    to: {home}/lists/club.txt
    on behalf of: ""me@example.org
    subject: Spring
    body: See the logo.
    html: <body background=cid:logo.png><p>See <img src="cid:logo.png"></p></body>\n
    attachment: logo.png
quit
held
    nothing
