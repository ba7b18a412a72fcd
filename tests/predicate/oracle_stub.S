// Runs one instruction word on a real SVE processor (the oracle) between a load of every
// register from a buffer and a store of every register back into it.
//   x0: buffer (16-byte aligned): packed P registers at 0 (10 bytes each), packed FFR at 160,
//       Z registers at 240 (80 bytes each), x0 to x30 at 2800, NZCV at 3048; 3056 is scratch.
//   x1: save area of 176 bytes for the caller's registers.
// sp points at the buffer while the word runs. The word is patched at oracle_stub_insn in a
// copy of this code, so the code uses no pc-relative address.
    .arch armv8.2-a+sve
    .text
    .global oracle_stub_begin, oracle_stub_insn, oracle_stub_end
    .p2align 4
oracle_stub_begin:
    stp x19, x20, [x1, #0]
    stp x21, x22, [x1, #16]
    stp x23, x24, [x1, #32]
    stp x25, x26, [x1, #48]
    stp x27, x28, [x1, #64]
    stp x29, x30, [x1, #80]
    mov x2, sp
    str x2, [x1, #96]
    stp d8, d9, [x1, #112]
    stp d10, d11, [x1, #128]
    stp d12, d13, [x1, #144]
    stp d14, d15, [x1, #160]
    str x1, [x0, #3056]
    mov sp, x0
    ldr p0, [sp, #16, mul vl]
    wrffr p0.b
    .irp k, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15
    ldr p\k, [sp, #\k, mul vl]
    .endr
    .irp k, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31
    ldr z\k, [sp, #\k + 3, mul vl]
    .endr
    ldr x0, [sp, #3048]
    msr nzcv, x0
    .irp k, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30
    ldr x\k, [sp, #2800 + \k * 8]
    .endr
oracle_stub_insn:
    nop
    .irp k, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30
    str x\k, [sp, #2800 + \k * 8]
    .endr
    mrs x0, nzcv
    str x0, [sp, #3048]
    .irp k, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31
    str z\k, [sp, #\k + 3, mul vl]
    .endr
    .irp k, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15
    str p\k, [sp, #\k, mul vl]
    .endr
    rdffr p0.b
    str p0, [sp, #16, mul vl]
    ldr x1, [sp, #3056]
    ldr x2, [x1, #96]
    mov sp, x2
    ldp x19, x20, [x1, #0]
    ldp x21, x22, [x1, #16]
    ldp x23, x24, [x1, #32]
    ldp x25, x26, [x1, #48]
    ldp x27, x28, [x1, #64]
    ldp x29, x30, [x1, #80]
    ldp d8, d9, [x1, #112]
    ldp d10, d11, [x1, #128]
    ldp d12, d13, [x1, #144]
    ldp d14, d15, [x1, #160]
    ret
oracle_stub_end:
    .section .note.GNU-stack,"",%progbits
