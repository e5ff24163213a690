/* Preloaded into a program: the Nth of its input and output calls fails, or a signal comes with it. QV6D_FAULT_AT is N,
 * counted from the start of main; QV6D_FAULT_SIGNAL is the signal; the call is named in the file QV6D_FAULT_LOG. What
 * is said on standard error is not counted. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

static long *left; /* calls to go, of all processes; nothing happens below 1 */
static int signal_number;

static int fails(const char *name, int reason)
{
    if (left == NULL || __atomic_sub_fetch(left, 1, __ATOMIC_SEQ_CST) != 0)
        return 0;
    const char *log = getenv("QV6D_FAULT_LOG");
    const long file = syscall(SYS_openat, AT_FDCWD, log, O_WRONLY | O_CREAT | O_APPEND, 0600);
    syscall(SYS_write, file, name, strlen(name));
    syscall(SYS_write, file, "\n", 1);
    syscall(SYS_close, file);
    if (signal_number != 0)
    {
        kill(0, signal_number);
        return 0;
    }
    errno = reason;
    return 1;
}

typedef int (*main_function)(int, char **, char **);
static main_function real_main;

static int counted_main(int argc, char **argv, char **env)
{
    const char *at = getenv("QV6D_FAULT_AT"), *with = getenv("QV6D_FAULT_SIGNAL");
    signal_number = with == NULL ? 0 : atoi(with);
    left = mmap(NULL, sizeof *left, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    *left = at == NULL ? 0 : atol(at);
    const int code = real_main(argc, argv, env);
    left = NULL;
    return code;
}

#define REAL(name) ((__typeof__(&name))dlsym(RTLD_NEXT, #name))

int __libc_start_main(main_function start, int argc, char **argv, void (*init)(void), void (*fini)(void),
                      void (*last)(void), void *stack)
{
    int (*real)(main_function, int, char **, void (*)(void), void (*)(void), void (*)(void), void *);
    *(void **)&real = dlsym(RTLD_NEXT, "__libc_start_main");
    real_main = start;
    return real(counted_main, argc, argv, init, fini, last, stack);
}

#define FAILS(result, name, reason, parameters, arguments)                                                             \
    result name parameters                                                                                             \
    {                                                                                                                  \
        return fails(#name, reason) ? (result)-1 : REAL(name) arguments;                                               \
    }
#define OPENS(name, parameters, arguments)                                                                             \
    int name parameters                                                                                                \
    {                                                                                                                  \
        va_list more;                                                                                                  \
        va_start(more, flags);                                                                                         \
        const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(more, mode_t) : 0;                                         \
        va_end(more);                                                                                                  \
        return fails(#name, EIO) ? -1 : REAL(name) arguments;                                                          \
    }
#define STREAMS(result, failed, name, reason, parameters, arguments)                                                   \
    result name parameters                                                                                             \
    {                                                                                                                  \
        if (stream == stderr || !fails(#name, reason))                                                                 \
            return REAL(name) arguments;                                                                               \
        stream->_flags |= 0x20; /* what ferror asks for */                                                             \
        return failed;                                                                                                 \
    }

OPENS(open, (const char *path, int flags, ...), (path, flags, mode))
OPENS(openat, (int folder, const char *path, int flags, ...), (folder, path, flags, mode))
FAILS(ssize_t, read, EIO, (int file, void *to, size_t size), (file, to, size))
FAILS(int, fsync, EIO, (int file), (file))
FAILS(int, ftruncate, ENOSPC, (int file, off_t size), (file, size))
FAILS(ssize_t, pwrite, ENOSPC, (int file, const void *from, size_t size, off_t at), (file, from, size, at))
FAILS(int, rename, ENOSPC, (const char *from, const char *to), (from, to))
FAILS(int, renameat, ENOSPC, (int in, const char *from, int out, const char *to), (in, from, out, to))
FAILS(int, mkdir, ENOSPC, (const char *path, mode_t mode), (path, mode))
FAILS(int, memfd_create, ENOSPC, (const char *name, unsigned flags), (name, flags))
FAILS(int, fchmod, EIO, (int file, mode_t mode), (file, mode))
FAILS(int, chdir, EIO, (const char *path), (path))
FAILS(int, pipe2, EMFILE, (int ends[2], int flags), (ends, flags))
STREAMS(size_t, 0, fwrite, ENOSPC, (const void *from, size_t size, size_t count, FILE *stream),
        (from, size, count, stream))
STREAMS(size_t, 0, fread, EIO, (void *to, size_t size, size_t count, FILE *stream), (to, size, count, stream))
STREAMS(int, EOF, fputc, ENOSPC, (int c, FILE *stream), (c, stream))
STREAMS(int, EOF, fflush, ENOSPC, (FILE * stream), (stream))

ssize_t write(int file, const void *from, size_t size)
{
    return file != STDERR_FILENO && fails("write", ENOSPC) ? -1 : REAL(write)(file, from, size);
}

/* It fails where the buffer is to be filled. */
int fgetc(FILE *stream)
{
    if (stream->_IO_read_ptr < stream->_IO_read_end || !fails("fgetc", EIO))
        return REAL(fgetc)(stream);
    stream->_flags |= 0x20;
    return EOF;
}

FILE *fdopen(int file, const char *mode)
{
    return fails("fdopen", EIO) ? NULL : REAL(fdopen)(file, mode);
}

FILE *fopen(const char *path, const char *mode)
{
    return fails("fopen", EIO) ? NULL : REAL(fopen)(path, mode);
}

char *mkdtemp(char *pattern)
{
    return fails("mkdtemp", ENOSPC) ? NULL : REAL(mkdtemp)(pattern);
}

int close(int file)
{
    const int failed = fails("close", EIO), reason = errno, result = REAL(close)(file); /* it is closed all the same */
    errno = failed ? reason : errno;
    return failed ? -1 : result;
}

int fclose(FILE *stream)
{
    const int failed = fails("fclose", EIO), reason = errno, result = REAL(fclose)(stream);
    errno = failed ? reason : errno;
    return failed ? EOF : result;
}
