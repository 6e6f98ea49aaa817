/* wordcleave: cuts UTF-8 text into words and gives each word its term id.
 * Letters and digits of any script (Unicode categories L and N) form runs,
 * ASCII letters folded to lower case; every CJK ideograph, kana and hangul
 * syllable is a word of its own; everything else separates, and so does a
 * byte that is not valid UTF-8. A term id is fixed by the word's bytes alone
 * (docs/fulltext.md), the same in every process and on every platform.
 * The words of the latest run are kept process-wide, so a run and the reads
 * of its words must not be interleaved with another run. */
#ifndef QUERN_WORDCLEAVE_H
#define QUERN_WORDCLEAVE_H

#ifdef __cplusplus
extern "C" {
#endif

/* The size of the term id space: every id is at least 0 and below it. */
int word_cleave_terms_size(void);

/* Cuts the `size` bytes at `text` (no terminator needed) into words, kept
 * until the next run. Returns the number of words, 0 for a text without any,
 * or 0xFFFFFFFF for a failure (see word_cleave_error). */
unsigned int word_cleave_run(const void* text, unsigned int size);

/* The term id of word `index` (from 0) of the latest run, in text order;
 * -1 for an index outside it. */
int word_cleave_word(unsigned int index);

/* Why the latest run failed; "" after a run that did not. */
const char* word_cleave_error(void);

#ifdef __cplusplus
}
#endif

#endif
