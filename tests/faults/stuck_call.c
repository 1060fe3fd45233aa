/* Loaded before the program's libraries: one of their calls never returns, as a decoder that is busy for hours
   would not. TUMBLEWASH_STUCK names it as CALL or CALL:N, for the call after N others. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <stdatomic.h>
#include <stdlib.h>
#include <string.h>

static void stuckHere(const char* call, atomic_int* made) {
    const char* wanted = getenv("TUMBLEWASH_STUCK");
    const size_t length = strlen(call);
    if (!wanted || strncmp(wanted, call, length) != 0 || (wanted[length] && wanted[length] != ':')) return;
    const int before = wanted[length] ? atoi(wanted + length + 1) : 0;
    if (atomic_fetch_add(made, 1) < before) return;
    volatile unsigned long busy = 0;
    for (;;) ++busy;
}

#define STUCK(name)                                                                \
    int name(void* codec, const void* what);                                       \
    int name(void* codec, const void* what) {                                      \
        static atomic_int made;                                                    \
        static int (*real)(void*, const void*);                                    \
        if (!real) real = (int (*)(void*, const void*))dlsym(RTLD_NEXT, #name);    \
        stuckHere(#name, &made);                                                   \
        return real(codec, what);                                                  \
    }

STUCK(avcodec_send_packet)
STUCK(avcodec_send_frame)
STUCK(av_read_frame)
