/* Loaded before the C library: the N-th allocation or thread start from main on fails, once or from there on.
   TUMBLEWASH_FAIL is KIND:N or KIND:N+, KIND being memory, library or thread. library: FFmpeg takes its
   memory by posix_memalign and realloc, and the codecs and the resampler behind it, which are known by their
   names, by any call; memory: everybody else. With N = 0 nothing fails; the number of calls is written to the
   file TUMBLEWASH_FAIL_COUNT at the end. Where the program crashes, a line is written to
   TUMBLEWASH_FAIL_CRASH: "inside" when that was in the very call of the program into a library in which an
   allocation had failed last, or in a thread that runs nothing but the library's code, or in the library's
   code after it had opened a decoder without the memory for it and said that all was well, else "later"; then
   the function of the library that had been called, and whose code it was. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <execinfo.h>
#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <stdatomic.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/uio.h>
#include <ucontext.h>
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

/* Where the program called into a library that then found no memory, and the library's function. */
static _Thread_local void* failedIn;
static _Thread_local void* failedEntry;

/* How often something failed in this thread, and whether avcodec_open2 ever did not say so. */
static _Thread_local long failures;
static atomic_int openedWithout;

enum { mostFrames = 96, mostWords = 4096 };

static const char* nameOf(const char* path) {
    const char* const slash = path ? strrchr(path, '/') : NULL;
    return slash ? slash + 1 : path ? path : "?";
}

/* The module of an address, without its folder. */
static const char* moduleOf(void* address) {
    Dl_info found;
    return dladdr(address, &found) ? nameOf(found.dli_fname) : "?";
}

static const char* functionOf(void* address) {
    Dl_info found;
    return dladdr(address, &found) && found.dli_sname ? found.dli_sname : "?";
}

static int isProgram(void* address) {
    return strcmp(moduleOf(address), nameOf(program_invocation_name)) == 0;
}

/* What stands above the frame that crashes: the C and C++ libraries, this file, the signal's own frames. */
static int isRuntime(void* address) {
    static const char* const names[] = {"libc.so",  "libstdc++",    "libgcc_s",  "libm.so",
                                        "ld-linux", "libexhausted", "linux-vdso"};
    const char* const module = moduleOf(address);
    for (size_t i = 0; i < sizeof names / sizeof *names; ++i)
        if (strncmp(module, names[i], strlen(names[i])) == 0) return 1;
    return 0;
}

static int fails(int which) {
    if (!atomic_load_explicit(&armed, memory_order_relaxed) || which != kind) return 0;
    const long number = atomic_fetch_add(&calls, 1) + 1;
    if (at <= 0 || (lasting ? number < at : number != at)) return 0;
    void* frames[mostFrames];
    const int count = backtrace(frames, mostFrames);
    failedIn = NULL;
    ++failures;
    for (int i = 1; i < count && !failedIn; ++i)
        if (isProgram(frames[i])) {
            failedIn = frames[i];
            failedEntry = frames[i - 1];
        }
    return 1;
}

/* The instruction at which a signal came, and every word of the stack above. A library's assembly code cannot
   be unwound, so addresses are looked for. */
static int wordsAt(const ucontext_t* context, void** words, int most) {
#if defined(__x86_64__)
    words[0] = (void*)context->uc_mcontext.gregs[REG_RIP];
    uintptr_t at = (uintptr_t)context->uc_mcontext.gregs[REG_RSP];
#elif defined(__aarch64__)
    words[0] = (void*)context->uc_mcontext.pc;
    uintptr_t at = (uintptr_t)context->uc_mcontext.sp;
#else
    words[0] = NULL;
    uintptr_t at = (uintptr_t)context;
#endif
    int count = 1;
    for (;;) {
        const size_t size = 4096 - at % 4096;
        if (count + (int)(size / sizeof(void*)) > most) return count;
        const struct iovec to = {words + count, size}, from = {(void*)at, size};
        if (process_vm_readv(getpid(), &to, 1, &from, 1, 0) != (ssize_t)size) return count;
        count += (int)(size / sizeof(void*));
        at += size;
    }
}

static void put(char* line, size_t size, const char* text) {
    strncat(line, text, size - strlen(line) - 1);
}

static void crashed(int number, siginfo_t* information, void* context) {
    (void)information;
    static void* words[mostWords];
    atomic_store(&armed, 0);
    signal(number, SIG_DFL);
    const int count = wordsAt(context, words, mostWords);
    void* crash = NULL;
    int program = 0, same = 0;
    for (int i = 0; i < count; ++i) {
        if (words[i] == NULL || strcmp(moduleOf(words[i]), "?") == 0) continue;
        if (!crash && !isRuntime(words[i])) crash = words[i];
        program = program || isProgram(words[i]);
        same = same || (failedIn && words[i] == failedIn);
    }
    const int opened =
        !same && atomic_load(&openedWithout) && crash && strncmp(moduleOf(crash), "libavcodec.", 11) == 0;
    const int inside = crash && !isProgram(crash) && (same || !program || opened);
    char line[512] = "";
    put(line, sizeof line, inside ? "inside " : "later, ");
    put(line, sizeof line,
        same      ? functionOf(failedEntry)
        : opened  ? "a decoder that avcodec_open2 opened without memory"
        : program ? "in another call"
                  : "a thread of its own");
    put(line, sizeof line, ", at ");
    put(line, sizeof line, crash ? moduleOf(crash) : "?");
    put(line, sizeof line, "\n");
    const char* const file = getenv("TUMBLEWASH_FAIL_CRASH");
    const int out = file ? open(file, O_WRONLY | O_CREAT | O_APPEND, 0600) : -1;
    if (out >= 0 && write(out, line, strlen(line)) < 0) _exit(99);
    raise(number);
}

static void watchCrashes(void) {
    void* frames[2];
    backtrace(frames, 2); /* loads what it needs while there is memory */
    const int numbers[] = {SIGSEGV, SIGABRT, SIGBUS, SIGFPE, SIGILL};
    struct sigaction action;
    memset(&action, 0, sizeof action);
    action.sa_sigaction = crashed;
    action.sa_flags = SA_SIGINFO;
    for (size_t i = 0; i < sizeof numbers / sizeof *numbers; ++i) sigaction(numbers[i], &action, NULL);
}

/* Whose memory a plain call takes: that of a library which only FFmpeg calls, or the program's. */
static int takenBy(void* caller) {
    static const char* const behind[] = {"libav",     "libsw",   "libpostproc", "libsoxr",  "libx264",
                                         "libx265",   "libvpx",  "libaom",      "libdav1d", "libSvtAv",
                                         "libmp3lam", "libopus", "libogg",      "libvorbis"};
    if (!atomic_load_explicit(&armed, memory_order_relaxed) || kind == thread) return memory;
    const char* const module = moduleOf(caller);
    for (size_t i = 0; i < sizeof behind / sizeof *behind; ++i)
        if (strncmp(module, behind[i], strlen(behind[i])) == 0) return library;
    return memory;
}

static void* noMemory(void) {
    errno = ENOMEM;
    return NULL;
}

void* malloc(size_t size) {
    return fails(takenBy(__builtin_return_address(0))) ? noMemory() : __libc_malloc(size);
}
void* calloc(size_t count, size_t size) {
    return fails(takenBy(__builtin_return_address(0))) ? noMemory() : __libc_calloc(count, size);
}
void* realloc(void* block, size_t size) {
    return size && fails(library) ? noMemory() : __libc_realloc(block, size);
}
void* memalign(size_t alignment, size_t size) {
    return fails(takenBy(__builtin_return_address(0))) ? noMemory() : __libc_memalign(alignment, size);
}
void* aligned_alloc(size_t alignment, size_t size) {
    return fails(takenBy(__builtin_return_address(0))) ? noMemory() : __libc_memalign(alignment, size);
}
int posix_memalign(void** block, size_t alignment, size_t size) {
    void* const got = fails(library) ? NULL : __libc_memalign(alignment, size);
    if (!got) return ENOMEM;
    *block = got;
    return 0;
}

int pthread_create(pthread_t* started, const pthread_attr_t* attributes, void* (*work)(void*),
                   void* argument) {
    static int (*real)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    if (!real)
        real = (int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*))dlsym(RTLD_NEXT,
                                                                                          "pthread_create");
    return fails(thread) ? EAGAIN : real(started, attributes, work, argument);
}

struct AVCodecContext;
struct AVCodec;
struct AVDictionary;
int avcodec_open2(struct AVCodecContext* context, const struct AVCodec* codec,
                  struct AVDictionary** options) {
    static int (*real)(struct AVCodecContext*, const struct AVCodec*, struct AVDictionary**);
    if (!real)
        real = (int (*)(struct AVCodecContext*, const struct AVCodec*, struct AVDictionary**))dlsym(
            RTLD_NEXT, "avcodec_open2");
    const long before = failures;
    const int result = real(context, codec, options);
    if (result >= 0 && failures != before) atomic_store(&openedWithout, 1);
    return result;
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
        watchCrashes();
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
    int (*real)(int (*)(int, char**, char**), int, char**, void (*)(void), void (*)(void), void (*)(void),
                void*);
    *(void**)&real = dlsym(RTLD_NEXT, "__libc_start_main");
    return real(countedMain, count, words, init, fini, ldFini, stackEnd);
}
