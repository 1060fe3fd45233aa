/* Loaded before the C library: the N-th allocation or thread start from main on fails, once or from there on.
   TUMBLEWASH_FAIL is KIND:N or KIND:N+, KIND being memory, library or thread: FFmpeg takes its memory by
   posix_memalign and realloc, everybody else by the others. With N = 0 nothing fails; the number of
   calls is written to the file TUMBLEWASH_FAIL_COUNT at the end. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <stdatomic.h>
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

extern void* __libc_malloc(size_t);
extern void* __libc_calloc(size_t, size_t);
extern void* __libc_realloc(void*, size_t);
extern void* __libc_memalign(size_t, size_t);

static atomic_int armed;
static atomic_long calls;
enum { memory, library, thread };
static int kind;
static int lasting;
static long at;

static int fails(int which) {
    if (!atomic_load_explicit(&armed, memory_order_relaxed) || which != kind) return 0;
    const long number = atomic_fetch_add(&calls, 1) + 1;
    return at > 0 && (lasting ? number >= at : number == at);
}

static void* noMemory(void) {
    errno = ENOMEM;
    return NULL;
}

void* malloc(size_t size) {
    return fails(memory) ? noMemory() : __libc_malloc(size);
}
void* calloc(size_t count, size_t size) {
    return fails(memory) ? noMemory() : __libc_calloc(count, size);
}
void* realloc(void* block, size_t size) {
    return size && fails(library) ? noMemory() : __libc_realloc(block, size);
}
void* memalign(size_t alignment, size_t size) {
    return fails(memory) ? noMemory() : __libc_memalign(alignment, size);
}
void* aligned_alloc(size_t alignment, size_t size) {
    return fails(memory) ? noMemory() : __libc_memalign(alignment, size);
}
int posix_memalign(void** block, size_t alignment, size_t size) {
    void* const got = fails(library) ? NULL : __libc_memalign(alignment, size);
    if (!got) return ENOMEM;
    *block = got;
    return 0;
}

int pthread_create(pthread_t* started, const pthread_attr_t* attributes, void* (*work)(void*), void* argument) {
    static int (*real)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    if (!real)
        real = (int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*))dlsym(RTLD_NEXT,
                                                                                         "pthread_create");
    return fails(thread) ? EAGAIN : real(started, attributes, work, argument);
}

static void tell(void) {
    const char* const file = getenv("TUMBLEWASH_FAIL_COUNT");
    atomic_store(&armed, 0);
    if (!file) return;
    char text[32];
    const int length = snprintf(text, sizeof text, "%ld\n", atomic_load(&calls));
    const int out = open(file, O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (out < 0) return;
    if (write(out, text, (size_t)length) != length) abort();
    close(out);
}

static int (*realMain)(int, char**, char**);

static int countedMain(int count, char** words, char** environment) {
    const char* const wanted = getenv("TUMBLEWASH_FAIL");
    if (wanted) {
        kind = wanted[0] == 't' ? thread : wanted[0] == 'l' ? library : memory;
        const char* const number = strchr(wanted, ':');
        char* end = NULL;
        at = number ? strtol(number + 1, &end, 10) : 0;
        lasting = end && *end == '+';
        atomic_store(&armed, 1);
    }
    const int status = realMain(count, words, environment);
    tell();
    return status;
}

int __libc_start_main(int (*program)(int, char**, char**), int count, char** words, void (*init)(void),
                      void (*fini)(void), void (*ldFini)(void), void* stackEnd);
int __libc_start_main(int (*program)(int, char**, char**), int count, char** words, void (*init)(void),
                      void (*fini)(void), void (*ldFini)(void), void* stackEnd) {
    realMain = program;
    int (*real)(int (*)(int, char**, char**), int, char**, void (*)(void), void (*)(void), void (*)(void), void*);
    *(void**)&real = dlsym(RTLD_NEXT, "__libc_start_main");
    return real(countedMain, count, words, init, fini, ldFini, stackEnd);
}
