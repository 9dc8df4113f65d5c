# A module with code, data that is relocated, and sections with names of eight letters. C names have
# an underscore in 32 bits.
    .text
.ifdef WIDE
    .globl answer
answer:
.else
    .globl _answer
_answer:
.endif
    movl $42, %eax
    ret
    .globl _start
_start:
    ret

    .data
.ifdef WIDE
    .globl place
place:
    .quad answer
.else
    .globl _place
_place:
    .long _answer
.endif

    .section .segment, "dr"
    .ascii "the content of the section"

    .section .segmenu, "dr"
    .ascii "another content"
