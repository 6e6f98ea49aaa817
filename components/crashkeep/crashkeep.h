/* crashkeep: on a fatal signal (POSIX) or an unhandled exception (Windows)
 * writes a crash report next to the trace log (the current directory when
 * there is none): the signal or exception code and a backtrace, plus a
 * minidump on Windows. Then the process dies as it would have. */
#ifndef QUERN_CRASHKEEP_H
#define QUERN_CRASHKEEP_H

#ifdef __cplusplus
extern "C" {
#endif

/* Installs the handler; 0 on success, -1 when it cannot be installed. */
int crash_keep_init(void);

#ifdef __cplusplus
}
#endif

#endif
