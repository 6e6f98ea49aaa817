/* A small host of the Quern library, in C: it indexes a qvlog file, asks
 * the index for the records of one user and prints the newest of them with
 * their rows.
 *
 *   host LOG INDEXDIR USER [ROWS]
 *
 * INDEXDIR must exist. Run it where config.ini and groups.ini are: the
 * library reads them from the current directory, and the run and query files
 * this host writes land there too. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "quern.h"

static int failed(const char* what) {
  fprintf(stderr, "host: %s failed: %s\n", what, qrn_indexer_error());
  return 1;
}

static int writeText(const char* path, const char* text) {
  FILE* file = fopen(path, "wb");
  int ok = file != NULL && fputs(text, file) >= 0;
  if (file != NULL && fclose(file) != 0) ok = 0;
  if (!ok) fprintf(stderr, "host: cannot write %s\n", path);
  return ok;
}

/* The end of the log's last block, from the slice list: an index run of
 * [0, end) takes the whole log. */
static int logEnd(const char* log, unsigned long long* end) {
  const int blocks = qrn_indexer_slice(log);
  const char* slice;
  if (blocks < 0) return failed("slice");
  if (blocks == 0) {
    fprintf(stderr, "host: %s holds no block\n", log);
    return 1;
  }
  /* "begin,end,sliceTag" */
  slice = qrn_indexer_block((unsigned)(blocks - 1));
  *end = strtoull(strchr(slice, ',') + 1, NULL, 10);
  return 0;
}

static int indexLog(const char* log, const char* dir) {
  char text[4096];
  char program[] = "host";
  char mode[] = "-i";
  char runFile[] = "host.run";
  char* argv[] = {program, mode, runFile, NULL};
  unsigned long long end = 0;
  if (logEnd(log, &end) != 0) return 1;
  snprintf(text, sizeof text, "[In]\npath = %s\nbegin = 0\nend = %llu\n[Out]\ndir = %s\n", log, end, dir);
  if (!writeText(runFile, text)) return 1;
  if (qrn_indexer_run(3, argv) != 0) return failed("index run");
  remove(runFile);
  return 0;
}

/* Each locator is "log:offset:ordinal". The log number is the one the log
 * file's name opens with; with a single log this host needs no table from
 * numbers back to files. */
static int printRows(const char* log, const char* dir, int rows) {
  int i;
  for (i = 0; i < rows; ++i) {
    char locator[64];
    unsigned number, offset, ordinal;
    const char* text = qrn_indexer_row(dir, (unsigned)i);
    const char* row;
    if (text == NULL) return failed("row");
    /* The text is the library's until the next qrn_indexer_row: keep a copy. */
    snprintf(locator, sizeof locator, "%s", text);
    if (sscanf(locator, "%u:%u:%u", &number, &offset, &ordinal) != 3) {
      fprintf(stderr, "host: not a locator: %s\n", locator);
      return 1;
    }
    row = qrn_indexer_row_result(log, offset, (int)ordinal);
    if (row == NULL) return failed("row_result");
    printf("%s\t%s\n", locator, row);
  }
  return 0;
}

int main(int argc, char** argv) {
  const char* log;
  const char* dir;
  const char* user;
  int limit = 10;
  int count;
  char text[4096];
  if (argc < 4 || argc > 5) {
    fprintf(stderr, "usage: host LOG INDEXDIR USER [ROWS]\n");
    return 2;
  }
  log = argv[1];
  dir = argv[2];
  user = argv[3];
  if (argc == 5) limit = atoi(argv[4]);
  if (qrn_indexer_init(NULL, 0) != 0) return failed("init");
  if (indexLog(log, dir) != 0) return 1;

  /* A query file: all clauses must hold; time is required, and this range
   * holds every time of the stored form. The cancel file is never made here;
   * a host that wants to stop a long query creates it from another thread. */
  snprintf(text, sizeof text,
           "[filter]\ncancel = host.cancel\nlimit = %d\nuser = %s\n"
           "time = 0000/00/00 00:00:00-9999/99/99 99:99:99\n",
           limit, user);
  if (!writeText("host.query", text)) return 1;
  count = qrn_indexer_query(dir, "host.query");
  remove("host.query");
  if (count < 0) return failed("query");
  printf("%d records of %s\n", count, user);
  if (printRows(log, dir, count < limit ? count : limit) != 0) return 1;

  /* The searcher of a directory stays open between queries; after a
   * rebuild of the directory it must be dropped to see the new index. */
  qrn_searcher_clear();
  return 0;
}
