# Functions whose tables use the call frame instructions that compilers and hand-written code use.
    .text
    .globl ordinary
    .hidden ordinary
ordinary:
    .cfi_startproc
    pushq %rbp
    .cfi_def_cfa_offset 16
    .cfi_offset %rbp, -16
    movq %rsp, %rbp
    .cfi_def_cfa_register %rbp
    .cfi_remember_state
    popq %rbp
    .cfi_def_cfa %rsp, 8
    .cfi_restore %rbp
    ret
    .cfi_restore_state
    nop
    .cfi_same_value %rbx
    nop
    .cfi_undefined %r12
    nop
    .cfi_register %r13, %r14
    popq %rbp
    .cfi_def_cfa %rsp, 8
    ret
    .cfi_endproc

# As a procedure linkage table has it: the frame by an expression.
    .globl by_expression
by_expression:
    .cfi_startproc
    pushq $1
    .cfi_adjust_cfa_offset 8
    .cfi_escape 0x0f, 0x0b, 0x77, 0x08, 0x80, 0x00, 0x3f, 0x1a, 0x3b, 0x2a, 0x33, 0x24, 0x22
    nop
    nop
    .cfi_escape 0x10, 0x03, 0x03, 0x77, 0x10, 0x06
    nop
    .cfi_escape 0x16, 0x0c, 0x04, 0x76, 0x78, 0x23, 0x08
    addq $8, %rsp
    .cfi_def_cfa %rsp, 8
    ret
    .cfi_endproc

# As a signal's way back has it: every register at an offset from the stack pointer.
    .globl by_signal
by_signal:
    .cfi_startproc
    .cfi_signal_frame
    .cfi_escape 0x0f, 0x04, 0x77, 0xa0, 0x01, 0x06
    .cfi_escape 0x10, 0x06, 0x03, 0x77, 0x78, 0x06
    .cfi_escape 0x10, 0x10, 0x03, 0x77, 0xa8, 0x01
    nop
    nop
    .cfi_endproc

    .globl with_handler
with_handler:
    .cfi_startproc
    .cfi_personality 0x1b, ordinary
    .cfi_lsda 0x1b, ordinary
    subq $40, %rsp
    .cfi_def_cfa_offset 48
    .cfi_escape 0x14, 0x03, 0x03
    nop
    .cfi_escape 0x12, 0x06, 0x7c, 0x13, 0x7a
    nop
    .cfi_escape 0x2e, 0x10, 0x2f, 0x03, 0x02
    nop
    .cfi_escape 0x05, 0x0f, 0x03, 0x11, 0x0e, 0x7d, 0x14, 0x0d, 0x02
    addq $40, %rsp
    .cfi_def_cfa %rsp, 8
    ret
    .cfi_endproc
