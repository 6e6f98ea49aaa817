/* Quern: indexes and searches the traffic logs (qvlog files) of a network
 * audit appliance.
 *
 * Call qrn_indexer_init once, then use any of three independent groups:
 * qrn_indexer_run (build or merge an index), qrn_indexer_slice with
 * qrn_indexer_block (cut a log into block ranges), qrn_indexer_query with the
 * row functions (search). A result of -1 or null means failure: then
 * qrn_indexer_error gives its text. The library has no lock: call it from one
 * thread at a time. Returned texts belong to the library. */
#ifndef QUERN_H
#define QUERN_H

#if defined(_WIN32)
/* quern.dll exports by its .def file; hosts link its import library. */
#define QRN_API
#define QRN_CALL __cdecl
#else
#define QRN_API __attribute__((visibility("default")))
#define QRN_CALL
#endif

/* No export lets an exception out: C++ hosts may rely on it. */
#ifdef __cplusplus
#define QRN_NOEXCEPT noexcept
extern "C" {
#else
#define QRN_NOEXCEPT
#endif

/* Start-up: raises the open-file limit to 2,048, opens the trace log
 * `logPath` (levels up to `logOption`; negative: all) and installs the crash
 * report handler. 0, or -1 with the error text set. */
QRN_API int QRN_CALL qrn_indexer_init(const char* logPath, int logOption) QRN_NOEXCEPT;

/* argv[1] is "-i" (index run) or "-m" (merge), argv[2] the run file. 0 on
 * success and when the mode or an argument is missing; -1 on failure. */
QRN_API int QRN_CALL qrn_indexer_run(int argc, char** argv) QRN_NOEXCEPT;

/* The text of the last failure; never null. */
QRN_API const char* QRN_CALL qrn_indexer_error(void) QRN_NOEXCEPT;

/* The level of the first failure in the life of the process: 0 none,
 * 1 logic error, 2 runtime error. */
QRN_API int QRN_CALL qrn_indexer_error_num(void) QRN_NOEXCEPT;

/* Lists the blocks of a qvlog file; the number of blocks, or -1. */
QRN_API int QRN_CALL qrn_indexer_slice(const char* path) QRN_NOEXCEPT;

/* "begin,end,sliceTag" of block `index` of the last slice, or null. */
QRN_API const char* QRN_CALL qrn_indexer_block(unsigned int index) QRN_NOEXCEPT;

/* Runs the query file on an index directory: the number of results, or -1. */
QRN_API int QRN_CALL qrn_indexer_query(const char* indexDir, const char* queryFile) QRN_NOEXCEPT;

/* The locator text of result `index` of the last query on `indexDir`. */
QRN_API const char* QRN_CALL qrn_indexer_row(const char* indexDir, unsigned int index) QRN_NOEXCEPT;

/* The result row of frame `frameIndex` of the block at `blockOffset`. */
QRN_API const char* QRN_CALL qrn_indexer_row_result(const char* logPath, unsigned long long blockOffset,
                                                    int frameIndex) QRN_NOEXCEPT;

/* The export row of the same frame. */
QRN_API const char* QRN_CALL qrn_indexer_row_export(const char* logPath, unsigned long long blockOffset,
                                                    int frameIndex) QRN_NOEXCEPT;

/* Drops all cached searchers. */
QRN_API void QRN_CALL qrn_searcher_clear(void) QRN_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif
