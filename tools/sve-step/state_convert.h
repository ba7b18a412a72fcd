// Conversion between the emulator's state record and the hardware-shaped wire state: a P
// register or FFR is one byte per vector byte in cpu_state and one bit per vector byte on the
// wire. Only bit 0 of a cpu_state predicate byte counts.
#pragma once

#include "sve/core/cpu_state.h"
#include "tools/sve-step/case_format.h"

namespace conf {

static_assert(VL == SVE_VL_BYTES, "the wire format is for this build's vector length");

inline void pack_bits(const uint8_t* bytes, uint8_t* bits) {
    for (int i = 0; i < PL; i++) {
        uint8_t b = 0;
        for (int j = 0; j < 8; j++) b |= uint8_t((bytes[8 * i + j] & 1) << j);
        bits[i] = b;
    }
}

inline void unpack_bits(const uint8_t* bits, uint8_t* bytes) {
    for (int i = 0; i < VL; i++) bytes[i] = (bits[i / 8] >> (i % 8)) & 1;
}

inline void to_cpu_state(const wire_state& w, cpu_state& s) {
    std::memset(&s, 0, sizeof s);
    std::memcpy(s.x, w.x, sizeof s.x);
    s.sp = w.sp;
    s.nzcv = w.nzcv;
    s.fpcr = w.fpcr;
    s.fpsr = w.fpsr;
    std::memcpy(s.z, w.z, sizeof s.z);
    for (int i = 0; i < 16; i++) unpack_bits(w.p[i], s.p[i]);
    unpack_bits(w.ffr, s.ffr);
}

inline void to_wire_state(const cpu_state& s, wire_state& w) {
    std::memset(&w, 0, sizeof w);
    std::memcpy(w.x, s.x, sizeof w.x);
    w.sp = s.sp;
    w.nzcv = s.nzcv;
    w.fpcr = s.fpcr;
    w.fpsr = s.fpsr;
    std::memcpy(w.z, s.z, sizeof w.z);
    for (int i = 0; i < 16; i++) pack_bits(s.p[i], w.p[i]);
    pack_bits(s.ffr, w.ffr);
}

}  // namespace conf
