// Loads a complete SVE state, executes one word in a writable code slot and stores the
// complete resulting state. The C++ side (oracle.cpp) fills oracle_in and the slot's first word.
// Offsets are those of conf::wire_state, for the build's vector length.
#define VLB (SVE_BUILD_VL_BITS / 8)
#define WS_P (272 + 32 * VLB)
#define WS_FFR (WS_P + 2 * VLB)
#define WS_SIZE (WS_FFR + VLB / 8 + 8 - (17 * VLB / 8) % 8)
        .arch armv8.2-a+sve
        .text
        .global oracle_run
        .type oracle_run, %function
oracle_run:
        adrp x16, host_regs
        add x16, x16, :lo12:host_regs
        stp x19, x20, [x16, #0]
        stp x21, x22, [x16, #16]
        stp x23, x24, [x16, #32]
        stp x25, x26, [x16, #48]
        stp x27, x28, [x16, #64]
        stp x29, x30, [x16, #80]
        mov x17, sp
        str x17, [x16, #96]
        mrs x17, tpidr_el0
        str x17, [x16, #104]
        stp d8, d9, [x16, #112]
        stp d10, d11, [x16, #128]
        stp d12, d13, [x16, #144]
        stp d14, d15, [x16, #160]
        adrp x0, oracle_in
        add x0, x0, :lo12:oracle_in
        mov x1, #WS_FFR
        add x1, x0, x1
        ldr p0, [x1]
        wrffr p0.b
        mov x1, #WS_P
        add x1, x0, x1
        ldr p0, [x1, #0, mul vl]
        ldr p1, [x1, #1, mul vl]
        ldr p2, [x1, #2, mul vl]
        ldr p3, [x1, #3, mul vl]
        ldr p4, [x1, #4, mul vl]
        ldr p5, [x1, #5, mul vl]
        ldr p6, [x1, #6, mul vl]
        ldr p7, [x1, #7, mul vl]
        ldr p8, [x1, #8, mul vl]
        ldr p9, [x1, #9, mul vl]
        ldr p10, [x1, #10, mul vl]
        ldr p11, [x1, #11, mul vl]
        ldr p12, [x1, #12, mul vl]
        ldr p13, [x1, #13, mul vl]
        ldr p14, [x1, #14, mul vl]
        ldr p15, [x1, #15, mul vl]
        add x1, x0, #272
        ldr z0, [x1, #0, mul vl]
        ldr z1, [x1, #1, mul vl]
        ldr z2, [x1, #2, mul vl]
        ldr z3, [x1, #3, mul vl]
        ldr z4, [x1, #4, mul vl]
        ldr z5, [x1, #5, mul vl]
        ldr z6, [x1, #6, mul vl]
        ldr z7, [x1, #7, mul vl]
        ldr z8, [x1, #8, mul vl]
        ldr z9, [x1, #9, mul vl]
        ldr z10, [x1, #10, mul vl]
        ldr z11, [x1, #11, mul vl]
        ldr z12, [x1, #12, mul vl]
        ldr z13, [x1, #13, mul vl]
        ldr z14, [x1, #14, mul vl]
        ldr z15, [x1, #15, mul vl]
        ldr z16, [x1, #16, mul vl]
        ldr z17, [x1, #17, mul vl]
        ldr z18, [x1, #18, mul vl]
        ldr z19, [x1, #19, mul vl]
        ldr z20, [x1, #20, mul vl]
        ldr z21, [x1, #21, mul vl]
        ldr z22, [x1, #22, mul vl]
        ldr z23, [x1, #23, mul vl]
        ldr z24, [x1, #24, mul vl]
        ldr z25, [x1, #25, mul vl]
        ldr z26, [x1, #26, mul vl]
        ldr z27, [x1, #27, mul vl]
        ldr z28, [x1, #28, mul vl]
        ldr z29, [x1, #29, mul vl]
        ldr z30, [x1, #30, mul vl]
        ldr z31, [x1, #31, mul vl]
        ldr w1, [x0, #264]
        msr fpcr, x1
        ldr w1, [x0, #268]
        msr fpsr, x1
        ldr x1, [x0, #256]
        msr nzcv, x1
        ldr x1, [x0, #248]
        mov sp, x1
        ldp x2, x3, [x0, #16]
        ldp x4, x5, [x0, #32]
        ldp x6, x7, [x0, #48]
        ldp x8, x9, [x0, #64]
        ldp x10, x11, [x0, #80]
        ldp x12, x13, [x0, #96]
        ldp x14, x15, [x0, #112]
        ldp x16, x17, [x0, #128]
        ldp x18, x19, [x0, #144]
        ldp x20, x21, [x0, #160]
        ldp x22, x23, [x0, #176]
        ldp x24, x25, [x0, #192]
        ldp x26, x27, [x0, #208]
        ldp x28, x29, [x0, #224]
        ldr x30, [x0, #240]
        ldp x0, x1, [x0]
        b oracle_slot
        .size oracle_run, .-oracle_run

// The slot has a page of its own, which oracle.cpp makes writable: rewriting the word makes
// qemu translate only these two instructions again.
        .balign 4096
        .global oracle_slot
oracle_slot:
        nop
        b oracle_save
        .balign 4096

oracle_save:
        msr tpidr_el0, x0
        adrp x0, oracle_out
        add x0, x0, :lo12:oracle_out
        stp x1, x2, [x0, #8]
        stp x3, x4, [x0, #24]
        stp x5, x6, [x0, #40]
        stp x7, x8, [x0, #56]
        stp x9, x10, [x0, #72]
        stp x11, x12, [x0, #88]
        stp x13, x14, [x0, #104]
        stp x15, x16, [x0, #120]
        stp x17, x18, [x0, #136]
        stp x19, x20, [x0, #152]
        stp x21, x22, [x0, #168]
        stp x23, x24, [x0, #184]
        stp x25, x26, [x0, #200]
        stp x27, x28, [x0, #216]
        stp x29, x30, [x0, #232]
        mrs x1, tpidr_el0
        str x1, [x0]
        mov x1, sp
        str x1, [x0, #248]
        mrs x1, nzcv
        str x1, [x0, #256]
        mrs x1, fpcr
        str w1, [x0, #264]
        mrs x1, fpsr
        str w1, [x0, #268]
        add x1, x0, #272
        str z0, [x1, #0, mul vl]
        str z1, [x1, #1, mul vl]
        str z2, [x1, #2, mul vl]
        str z3, [x1, #3, mul vl]
        str z4, [x1, #4, mul vl]
        str z5, [x1, #5, mul vl]
        str z6, [x1, #6, mul vl]
        str z7, [x1, #7, mul vl]
        str z8, [x1, #8, mul vl]
        str z9, [x1, #9, mul vl]
        str z10, [x1, #10, mul vl]
        str z11, [x1, #11, mul vl]
        str z12, [x1, #12, mul vl]
        str z13, [x1, #13, mul vl]
        str z14, [x1, #14, mul vl]
        str z15, [x1, #15, mul vl]
        str z16, [x1, #16, mul vl]
        str z17, [x1, #17, mul vl]
        str z18, [x1, #18, mul vl]
        str z19, [x1, #19, mul vl]
        str z20, [x1, #20, mul vl]
        str z21, [x1, #21, mul vl]
        str z22, [x1, #22, mul vl]
        str z23, [x1, #23, mul vl]
        str z24, [x1, #24, mul vl]
        str z25, [x1, #25, mul vl]
        str z26, [x1, #26, mul vl]
        str z27, [x1, #27, mul vl]
        str z28, [x1, #28, mul vl]
        str z29, [x1, #29, mul vl]
        str z30, [x1, #30, mul vl]
        str z31, [x1, #31, mul vl]
        mov x1, #WS_P
        add x1, x0, x1
        str p0, [x1, #0, mul vl]
        str p1, [x1, #1, mul vl]
        str p2, [x1, #2, mul vl]
        str p3, [x1, #3, mul vl]
        str p4, [x1, #4, mul vl]
        str p5, [x1, #5, mul vl]
        str p6, [x1, #6, mul vl]
        str p7, [x1, #7, mul vl]
        str p8, [x1, #8, mul vl]
        str p9, [x1, #9, mul vl]
        str p10, [x1, #10, mul vl]
        str p11, [x1, #11, mul vl]
        str p12, [x1, #12, mul vl]
        str p13, [x1, #13, mul vl]
        str p14, [x1, #14, mul vl]
        str p15, [x1, #15, mul vl]
        rdffr p0.b
        mov x1, #WS_FFR
        add x1, x0, x1
        str p0, [x1]
        adrp x16, host_regs
        add x16, x16, :lo12:host_regs
        ldr x17, [x16, #104]
        msr tpidr_el0, x17
        ldr x17, [x16, #96]
        mov sp, x17
        ldp x19, x20, [x16, #0]
        ldp x21, x22, [x16, #16]
        ldp x23, x24, [x16, #32]
        ldp x25, x26, [x16, #48]
        ldp x27, x28, [x16, #64]
        ldp x29, x30, [x16, #80]
        ldp d8, d9, [x16, #112]
        ldp d10, d11, [x16, #128]
        ldp d12, d13, [x16, #144]
        ldp d14, d15, [x16, #160]
        mov x1, #0
        msr fpcr, x1
        mov w0, #0
        ret
        .balign 4096

        .bss
        .balign 16
host_regs:
        .skip 176
        .global oracle_in
        .balign 16
oracle_in:
        .skip WS_SIZE
        .global oracle_out
        .balign 16
oracle_out:
        .skip WS_SIZE
        .section .note.GNU-stack,"",%progbits
