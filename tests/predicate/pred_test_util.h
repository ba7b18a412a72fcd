// Helpers of the predicate-family tests: a clean state, predicates built from element lists,
// and the execution of one word through its handler and, for a specialised row, also through
// the generic function of its row on a copy of the state.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <vector>

#include "tests/support/tiers.h"
#include "tests/support/state_util.h"

inline cpu_state clean_state() {
    cpu_state s;
    std::memset(&s, 0, sizeof s);
    return s;
}

// Runs the word; a specialised row's generic counterpart must give the same state.
inline void exec(cpu_state& s, uint32_t w) { run_both_tiers(s, w); }

// P register k: elements of size code esz true where f(e) holds, canonical form.
inline void set_pred(cpu_state& s, int k, int esz, const std::function<bool(int)>& f) {
    std::memset(s.p[k], 0, SVE_VL_BYTES);
    for (int e = 0; e < (SVE_VL_BYTES >> esz); e++) s.p[k][e << esz] = f(e);
}
inline bool pred_elem(const cpu_state& s, int k, int esz, int e) { return s.p[k][e << esz] & 1; }
inline int pred_count(const cpu_state& s, int k, int esz) {
    int n = 0;
    for (int e = 0; e < (SVE_VL_BYTES >> esz); e++) n += pred_elem(s, k, esz, e);
    return n;
}

// The flags as a four-bit number NZCV.
inline int nzcv(const cpu_state& s) { return int(s.nzcv >> 28) & 15; }

// Z register k with element e of type T set to f(e).
template <class T>
inline void set_z(cpu_state& s, int k, const std::function<T(int)>& f) {
    for (int e = 0; e < SVE_VL_BYTES / int(sizeof(T)); e++) zset<T>(s, k, e, f(e));
}
