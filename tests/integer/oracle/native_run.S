// Runs one SVE instruction word natively on a register state (for a processor with SVE, or
// qemu with SVE). The word is written into `native_slot` by the caller.
//
// void native_run(native_state* ns): z0-z31, p0-p15, nzcv and x0-x30 come from ns, the word
// runs, and everything goes back to ns. ns->sp receives the stack pointer the word saw.
// Layout of native_state: z[32][80] at 0, p[16][10] at 2560, x[31] at 2720, sp at 2968,
// nzcv at 2976.
    .arch armv8.2-a+sve
    .text
    .p2align 12
    .global native_run
    .type native_run, %function
native_run:
    stp x29, x30, [sp, #-160]!
    stp x19, x20, [sp, #16]
    stp x21, x22, [sp, #32]
    stp x23, x24, [sp, #48]
    stp x25, x26, [sp, #64]
    stp x27, x28, [sp, #80]
    stp d8, d9, [sp, #96]
    stp d10, d11, [sp, #112]
    stp d12, d13, [sp, #128]
    stp d14, d15, [sp, #144]
    adrp x9, native_ns
    str x0, [x9, :lo12:native_ns]
    mov x9, sp
    str x9, [x0, #2968]
    .irp n,0,1,2,3,4,5,6,7,8,9,10,11,12,13,14,15,16,17,18,19,20,21,22,23,24,25,26,27,28,29,30,31
    ldr z\n, [x0, #\n, mul vl]
    .endr
    add x9, x0, #2560
    .irp n,0,1,2,3,4,5,6,7,8,9,10,11,12,13,14,15
    ldr p\n, [x9, #\n, mul vl]
    .endr
    ldr x10, [x0, #2976]
    msr nzcv, x10
    add x9, x0, #2720
    ldp x1, x2, [x9, #8]
    ldp x3, x4, [x9, #24]
    ldp x5, x6, [x9, #40]
    ldp x7, x8, [x9, #56]
    ldr x10, [x9, #80]
    ldp x11, x12, [x9, #88]
    ldp x13, x14, [x9, #104]
    ldp x15, x16, [x9, #120]
    ldp x17, x18, [x9, #136]
    ldp x19, x20, [x9, #152]
    ldp x21, x22, [x9, #168]
    ldp x23, x24, [x9, #184]
    ldp x25, x26, [x9, #200]
    ldp x27, x28, [x9, #216]
    ldp x29, x30, [x9, #232]
    ldr x0, [x9, #0]
    ldr x9, [x9, #72]
    .global native_slot
native_slot:
    nop
    str x0, [sp, #-16]!
    adrp x0, native_ns
    ldr x0, [x0, :lo12:native_ns]
    .irp n,1,2,3,4,5,6,7,8,9,10,11,12,13,14,15,16,17,18,19,20,21,22,23,24,25,26,27,28,29,30
    str x\n, [x0, #(2720 + 8 * \n)]
    .endr
    ldr x1, [sp], #16
    str x1, [x0, #2720]
    mrs x1, nzcv
    str x1, [x0, #2976]
    .irp n,0,1,2,3,4,5,6,7,8,9,10,11,12,13,14,15,16,17,18,19,20,21,22,23,24,25,26,27,28,29,30,31
    str z\n, [x0, #\n, mul vl]
    .endr
    add x1, x0, #2560
    .irp n,0,1,2,3,4,5,6,7,8,9,10,11,12,13,14,15
    str p\n, [x1, #\n, mul vl]
    .endr
    ldp x19, x20, [sp, #16]
    ldp x21, x22, [sp, #32]
    ldp x23, x24, [sp, #48]
    ldp x25, x26, [sp, #64]
    ldp x27, x28, [sp, #80]
    ldp d8, d9, [sp, #96]
    ldp d10, d11, [sp, #112]
    ldp d12, d13, [sp, #128]
    ldp d14, d15, [sp, #144]
    ldp x29, x30, [sp], #160
    ret
    .size native_run, .-native_run
    .p2align 12

    .bss
    .p2align 3
native_ns:
    .skip 8
    .section .note.GNU-stack,"",%progbits
