# Touches every page of a new stack frame of rax bytes, nearest first, because the system adds pages to a stack one at a
# time; changes no register but the flags. The compiler calls it for frames larger than a page.
    .globl __chkstk
__chkstk:
    push %rcx
    push %rax
    lea 24(%rsp), %rcx
    cmp $0x1000, %rax
    jb 2f
1:  sub $0x1000, %rcx
    test %rcx, (%rcx)
    sub $0x1000, %rax
    cmp $0x1000, %rax
    ja 1b
2:  sub %rax, %rcx
    test %rcx, (%rcx)
    pop %rax
    pop %rcx
    ret
