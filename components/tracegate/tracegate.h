/* tracegate: the library's log. One line per call: a UTC timestamp, the
 * level, "module:line" and the message. Safe from any thread; never fails
 * towards the caller. */
#ifndef QUERN_TRACEGATE_H
#define QUERN_TRACEGATE_H

#ifdef __cplusplus
extern "C" {
#endif

/* Appends to `path` from now on; a null or empty path turns logging off.
 * `option` is the highest level written; a negative value writes all. */
void trace_set_path(const char* path, int option);

/* Writes one line if `level` passes the option; level 0 lines are flushed at once. */
void trace_write(int level, const char* file, int line, const char* format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 4, 5)))
#endif
    ;

/* The path given to the last trace_set_path, or "" when there is none. The
 * returned text stays valid until the next trace_set_path. */
const char* trace_get_path(void);

#ifdef __cplusplus
}
#endif

#endif
