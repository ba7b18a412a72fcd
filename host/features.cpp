// What the program sees of the processor: SVE is there, at the build's vector length. The
// hardware capability bits (getauxval and /proc/self/auxv) carry HWCAP_SVE, and the vector length
// controls of prctl answer as the kernel does on a processor whose only vector length is ours.
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <linux/prctl.h>
#include <stdarg.h>
#include <stdio.h>
#include <sys/auxv.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "host/runtime.h"
#include "sve/core/cpu_state.h"

namespace {

constexpr unsigned long HWCAP_SVE_BIT = 1ul << 22;
constexpr unsigned long VL_MAX_BYTES = 8192;  // the architecture's largest vector length

thread_local bool vl_inherit;  // PR_SVE_VL_INHERIT, per thread as in the kernel

template <class F>
F next_fn(const char* name) {
    return reinterpret_cast<F>(dlsym(RTLD_NEXT, name));
}

unsigned long real_getauxval(unsigned long type) {
    typedef unsigned long (*fn)(unsigned long);
    static fn f = next_fn<fn>("getauxval");
    return f(type);
}

unsigned long shown(unsigned long type, unsigned long value) {
    return host_client_loaded && type == AT_HWCAP ? value | HWCAP_SVE_BIT : value;
}

long vl_status() { return SVE_VL_BYTES | (vl_inherit ? PR_SVE_VL_INHERIT : 0); }

// PR_SVE_SET_VL: a length in [16, 8192], a multiple of 16, becomes the largest supported length
// not above it, or the smallest supported one; here both are ours.
long set_vl(unsigned long arg) {
    unsigned long vl = arg & PR_SVE_VL_LEN_MASK, flags = arg & ~(unsigned long)PR_SVE_VL_LEN_MASK;
    if ((flags & ~(unsigned long)(PR_SVE_VL_INHERIT | PR_SVE_SET_VL_ONEXEC)) || vl < 16 || vl > VL_MAX_BYTES ||
        vl % 16 != 0) {
        errno = EINVAL;
        return -1;
    }
    vl_inherit = flags & PR_SVE_VL_INHERIT;
    return vl_status();
}

// /proc/self/auxv as the kernel has it, with the SVE bit added to AT_HWCAP, in a memory file.
int shown_auxv(int flags) {
    int in = int(syscall(SYS_openat, AT_FDCWD, "/proc/self/auxv", O_RDONLY | O_CLOEXEC));
    if (in < 0) return -1;
    unsigned long buf[512];
    ssize_t n = 0, k;
    while (n < ssize_t(sizeof buf) && (k = read(in, reinterpret_cast<char*>(buf) + n, sizeof buf - size_t(n))) > 0) n += k;
    close(in);
    for (ssize_t i = 0; i + 1 < n / ssize_t(sizeof(long)); i += 2)
        if (buf[i] == AT_HWCAP) buf[i + 1] |= HWCAP_SVE_BIT;
    int fd = memfd_create("auxv", (flags & O_CLOEXEC) ? MFD_CLOEXEC : 0);
    if (fd < 0) return -1;
    if (write(fd, buf, size_t(n)) != n) {
        close(fd);
        return -1;
    }
    lseek(fd, 0, SEEK_SET);
    return fd;
}

bool is_own_auxv(const char* path) {
    if (!host_client_loaded || !path) return false;
    if (!strcmp(path, "/proc/self/auxv") || !strcmp(path, "/proc/thread-self/auxv")) return true;
    char own[64];
    snprintf(own, sizeof own, "/proc/%d/auxv", int(getpid()));
    return !strcmp(path, own);
}

// openat, with the program's view of its own auxv.
int open_shown(int dir, const char* path, int flags, va_list ap) {
    mode_t mode = (flags & (O_CREAT | O_TMPFILE)) ? va_arg(ap, mode_t) : 0;
    if (is_own_auxv(path)) return shown_auxv(flags);
    typedef int (*fn)(int, const char*, int, ...);
    static fn f = next_fn<fn>("openat");
    return f(dir, path, flags, mode);
}

}  // namespace

unsigned long host_real_hwcap() { return real_getauxval(AT_HWCAP); }

extern "C" {

unsigned long getauxval(unsigned long type) noexcept { return shown(type, real_getauxval(type)); }
unsigned long __getauxval(unsigned long type) noexcept { return shown(type, real_getauxval(type)); }

int prctl(int option, ...) noexcept {
    va_list ap;
    va_start(ap, option);
    unsigned long a2 = va_arg(ap, unsigned long), a3 = va_arg(ap, unsigned long), a4 = va_arg(ap, unsigned long),
                  a5 = va_arg(ap, unsigned long);
    va_end(ap);
    if (host_client_loaded && option == PR_SVE_GET_VL) return int(vl_status());
    if (host_client_loaded && option == PR_SVE_SET_VL) return int(set_vl(a2));
    typedef int (*fn)(int, ...);
    static fn f = next_fn<fn>("prctl");
    return f(option, a2, a3, a4, a5);
}

int open(const char* path, int flags, ...) {
    va_list ap;
    va_start(ap, flags);
    int fd = open_shown(AT_FDCWD, path, flags, ap);
    va_end(ap);
    return fd;
}
int open64(const char* path, int flags, ...) __attribute__((alias("open")));

int openat(int dir, const char* path, int flags, ...) {
    va_list ap;
    va_start(ap, flags);
    int fd = open_shown(dir, path, flags, ap);
    va_end(ap);
    return fd;
}
int openat64(int dir, const char* path, int flags, ...) __attribute__((alias("openat")));

FILE* fopen(const char* path, const char* mode) {
    if (is_own_auxv(path)) {
        int fd = shown_auxv(0);
        return fd < 0 ? nullptr : fdopen(fd, mode);
    }
    typedef FILE* (*fn)(const char*, const char*);
    static fn f = next_fn<fn>("fopen");
    return f(path, mode);
}
FILE* fopen64(const char* path, const char* mode) __attribute__((alias("fopen")));

}  // extern "C"
