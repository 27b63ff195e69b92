# Windows that are no mails of the client's own editor get nothing; nor does a host that a program has started.
connect
    wrote: {home}/app/user/
    wrote: {home}/app/user/session/
new contact 40
new letter word
calls on
fail Item.Class 1
new A
    > new inspector A
    . Inspector.CurrentItem A
    . Item.Class A -> fails
    > deactivate letter
    > activate A
fail Inspector.IsWordMail 1
new B
    > new inspector B
    . Inspector.CurrentItem B
    . Item.Class B
    . Inspector.IsWordMail B -> fails
    > deactivate A
    > activate B
fail Inspector.CurrentItem 1
new C
    > new inspector C
    . Inspector.CurrentItem C -> fails
    > deactivate B
    > activate C
calls off
show contact
    nothing of ours
show letter
    nothing of ours
show A
    nothing of ours
show B
    nothing of ours
show C
    nothing of ours
disconnect
connect 2
connect 3
new D
show D
    nothing of ours
quit
held
    nothing
