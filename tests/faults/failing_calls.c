/* A library loaded before the C library's own calls: in one folder it fails the k-th call of a kind, fills the disk
 * after so many bytes, writes down the order of calls, or changes files behind the program's back. What it does is
 * told by the environment, and without that it does nothing:
 *   FAULT_FOLDER  only names and descriptors below this folder count
 *   FAULT_CALL    open, write, fsync, rename or close; FAULT_AT the first call of it that fails, FAULT_ERROR with
 *                 which number, FAULT_ON=1 every one from there on
 *   FAULT_BYTES   so many bytes can be written in all
 *   FAULT_LOG     a file for one line for each call
 *   SWAP_NAME     before its SWAP_AT-th opening, SWAP_WITH is put under this name; with SWAP_COPY=1 its bytes are
 *                 written into the file that is there
 *   VICTIM        whoever opens a hidden name that exists finds a link to this file there
 */
#define _GNU_SOURCE
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdarg.h>
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

static atomic_long counted, written, opened;

static long number(const char *name, long otherwise) {
    const char *text = getenv(name);
    return text ? atol(text) : otherwise;
}

static int within(const char *path) {
    const char *folder = getenv("FAULT_FOLDER");
    const size_t length = folder ? strlen(folder) : 0;
    return length && strncmp(path, folder, length) == 0 && (path[length] == '/' || path[length] == 0);
}

static void pathOf(int file, char *out) {
    char link[64];
    snprintf(link, sizeof link, "/proc/self/fd/%d", file);
    const ssize_t length = syscall(SYS_readlinkat, AT_FDCWD, link, out, PATH_MAX - 1);
    out[length > 0 ? length : 0] = 0;
}

static void fullPath(int folder, const char *name, char *out) {
    if (name[0] == '/' || folder == AT_FDCWD) {
        snprintf(out, PATH_MAX, "%s", name);
        return;
    }
    char at[PATH_MAX];
    pathOf(folder, at);
    snprintf(out, PATH_MAX, "%.2000s/%.2000s", at, name);
}

static void note(const char *call, const char *path, const char *other) {
    const char *log = getenv("FAULT_LOG");
    if (!log) return;
    char line[2 * PATH_MAX + 64];
    const int length = snprintf(line, sizeof line, "%s %s%s%s\n", call, path, *other ? " -> " : "", other);
    const int file = (int)syscall(SYS_openat, AT_FDCWD, log, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    if (file < 0) return;
    syscall(SYS_write, file, line, (size_t)length);
    syscall(SYS_close, file);
}

/* 1 when this call is to fail, with errno set. */
static int fails(const char *call, const char *path, const char *other) {
    const int before = errno;
    if (!within(path)) return 0;
    note(call, path, other);
    const char *chosen = getenv("FAULT_CALL");
    if (!chosen || strcmp(chosen, call) != 0) return 0;
    const long now = ++counted;
    const long at = number("FAULT_AT", 0);
    errno = before;
    if (now != at && !(now > at && number("FAULT_ON", 0))) return 0;
    note("FAULT", path, "");
    errno = (int)number("FAULT_ERROR", EIO);
    return 1;
}

static void copyInto(const char *from, const char *to) {
    char part[65536];
    const int in = (int)syscall(SYS_openat, AT_FDCWD, from, O_RDONLY);
    const int out = (int)syscall(SYS_openat, AT_FDCWD, to, O_WRONLY | O_TRUNC);
    long got;
    while ((got = syscall(SYS_read, in, part, sizeof part)) > 0) syscall(SYS_write, out, part, got);
    syscall(SYS_close, in);
    syscall(SYS_close, out);
}

static void meddle(const char *path, int flags) {
    const char *name = getenv("SWAP_NAME");
    if (name && strcmp(path, name) == 0 && ++opened == number("SWAP_AT", 1)) {
        const char *with = getenv("SWAP_WITH");
        if (number("SWAP_COPY", 0))
            copyInto(with, name);
        else
            syscall(SYS_renameat2, AT_FDCWD, with, AT_FDCWD, name, 0);
    }
    const char *victim = getenv("VICTIM");
    const size_t length = strlen(path);
    if (victim && within(path) && length > 5 && strcmp(path + length - 5, ".part") == 0 &&
        !(flags & (O_EXCL | O_DIRECTORY))) {
        syscall(SYS_unlinkat, AT_FDCWD, path, 0);
        syscall(SYS_symlinkat, victim, AT_FDCWD, path);
    }
}

static int openIt(int folder, const char *name, int flags, mode_t mode) {
    char path[PATH_MAX];
    fullPath(folder, name, path);
    if (fails("open", path, "")) return -1;
    meddle(path, flags);
    return (int)syscall(SYS_openat, folder, name, flags, mode);
}

static mode_t modeOf(int flags, va_list list) {
    return flags & (O_CREAT | __O_TMPFILE) ? (mode_t)va_arg(list, int) : 0;
}
#define OPEN(call)                                    \
    int call(const char *name, int flags, ...) {      \
        va_list list;                                 \
        va_start(list, flags);                        \
        const mode_t mode = modeOf(flags, list);      \
        va_end(list);                                 \
        return openIt(AT_FDCWD, name, flags, mode);   \
    }
#define OPENAT(call)                                      \
    int call(int folder, const char *name, int flags, ...) { \
        va_list list;                                     \
        va_start(list, flags);                            \
        const mode_t mode = modeOf(flags, list);          \
        va_end(list);                                     \
        return openIt(folder, name, flags, mode);         \
    }
OPEN(open)
OPEN(open64)
OPENAT(openat)
OPENAT(openat64)
int __open_2(const char *name, int flags) { return openIt(AT_FDCWD, name, flags, 0); }
int __open64_2(const char *name, int flags) { return openIt(AT_FDCWD, name, flags, 0); }
int __openat_2(int folder, const char *name, int flags) { return openIt(folder, name, flags, 0); }
int __openat64_2(int folder, const char *name, int flags) { return openIt(folder, name, flags, 0); }

int mkdirat(int folder, const char *name, mode_t mode) {
    char path[PATH_MAX];
    fullPath(folder, name, path);
    return fails("open", path, "") ? -1 : (int)syscall(SYS_mkdirat, folder, name, mode);
}

/* How many of `size` bytes still fit on the disk; below 0 when none do. */
static ssize_t room(int file, size_t size) {
    char path[PATH_MAX];
    pathOf(file, path);
    if (fails("write", path, "")) return -1;
    const long most = number("FAULT_BYTES", -1);
    if (most < 0 || !within(path)) return (ssize_t)size;
    const long left = most - atomic_fetch_add(&written, (long)size);
    if (left > 0) return left < (long)size ? left : (ssize_t)size;
    note("FAULT", path, "");
    errno = ENOSPC;
    return -1;
}

ssize_t write(int file, const void *bytes, size_t size) {
    const ssize_t fits = room(file, size);
    return fits < 0 ? -1 : syscall(SYS_write, file, bytes, (size_t)fits);
}
ssize_t pwrite64(int file, const void *bytes, size_t size, off64_t at) {
    const ssize_t fits = room(file, size);
    return fits < 0 ? -1 : syscall(SYS_pwrite64, file, bytes, (size_t)fits, at);
}
ssize_t pwrite(int file, const void *bytes, size_t size, off_t at) { return pwrite64(file, bytes, size, at); }

static int onFile(const char *call, int which, int file) {
    char path[PATH_MAX];
    pathOf(file, path);
    return fails(call, path, "") ? -1 : (int)syscall(which, file);
}
int fsync(int file) { return onFile("fsync", SYS_fsync, file); }
int fdatasync(int file) { return onFile("fsync", SYS_fdatasync, file); }
int syncfs(int file) { return onFile("fsync", SYS_syncfs, file); }

int close(int file) {
    char path[PATH_MAX];
    pathOf(file, path);
    const int failed = fails("close", path, "");
    const int error = errno;
    /* As on a real system, the descriptor is gone either way. */
    const int result = (int)syscall(SYS_close, file);
    if (!failed) return result;
    errno = error;
    return -1;
}

int renameat2(int fromFolder, const char *from, int toFolder, const char *to, unsigned flags) {
    char a[PATH_MAX], b[PATH_MAX];
    fullPath(fromFolder, from, a);
    fullPath(toFolder, to, b);
    return fails("rename", a, b) ? -1 : (int)syscall(SYS_renameat2, fromFolder, from, toFolder, to, flags);
}
int renameat(int fromFolder, const char *from, int toFolder, const char *to) {
    return renameat2(fromFolder, from, toFolder, to, 0);
}
int rename(const char *from, const char *to) { return renameat2(AT_FDCWD, from, AT_FDCWD, to, 0); }

int unlinkat(int folder, const char *name, int flags) {
    char path[PATH_MAX];
    fullPath(folder, name, path);
    fails("unlink", path, "");
    return (int)syscall(SYS_unlinkat, folder, name, flags);
}
int unlink(const char *name) { return unlinkat(AT_FDCWD, name, 0); }
