/** @file
 * The string dictionary for C, and for all languages that can call C.
 *
 * A dictionary gives each string a 64-bit numeric ID, and returns the string of an ID. A string is a text, with or
 * without a language tag; texts are bytes, usually UTF-8. IDs count from 1 in the order of creation; 0 means no
 * resource.
 *
 * Errors     A function that can fail returns a code, which is MELNAR_OK if it succeeds, and takes a pointer to a
 *            melnar_error, which may be null. It always fills the error. A failure changes nothing, except that a
 *            column may have been encoded in part: IDs that are not 0 are right then. No function of this interface
 *            throws. A null pointer where a pointer is required is an error (MELNAR_MISUSE).
 * Threads    Any thread may call any function at any time, also for the same dictionary, except melnar_close: it must
 *            be called while no other function uses the dictionary. Any number of threads encode concurrently. A
 *            commit, rollback or save waits until they have finished, and makes later ones wait.
 * Ownership  Texts that are passed belong to the caller and are not kept. Each function that allocates something for
 *            the caller names the function that releases it.
 * Units      Sizes, lengths and limits are bytes, unless they count entries.
 */
#ifndef MELNAR_H
#define MELNAR_H

#include "Engine/core/platform/Export.h"
#include "Engine/core/platform/Version.h"

#include <stddef.h>
#include <stdint.h>

/* NOLINTBEGIN: names and idioms of C */
#ifdef __cplusplus
extern "C" {
#endif

/** A dictionary, which melnar_create or melnar_open makes and melnar_close releases. */
typedef struct melnar_dictionary melnar_dictionary;

/** What a function that can fail returns. */
typedef enum melnar_code {
    MELNAR_OK = 0,               /**< nothing failed */
    MELNAR_REFUSED = 1,          /**< no dictionary takes this text, or this language tag */
    MELNAR_NO_SUCH_RESOURCE = 2, /**< there is no resource with this ID */
    MELNAR_FULL = 3,             /**< the largest number of resources, or of hash collisions, is reached */
    MELNAR_MEMORY = 4,           /**< the memory limit is reached, or the process has no memory */
    MELNAR_SYSTEM = 5,           /**< a system call failed, perhaps for lack of memory */
    MELNAR_DAMAGED_FILE = 6,     /**< the file is not a sound dictionary */
    MELNAR_IN_USE = 7,           /**< another process is writing the file */
    MELNAR_MISUSE = 8,           /**< an argument is invalid */
    MELNAR_OTHER = 9             /**< none of these; see the message */
} melnar_code;

/** The index of an error that is not about a single entry. */
#define MELNAR_NO_INDEX SIZE_MAX

/** Why a function failed, or that it did not. */
typedef struct melnar_error {
    melnar_code code;  /**< what the function returned */
    size_t index;      /**< of the first entry of a column that failed, or MELNAR_NO_INDEX */
    char message[496]; /**< for people; ends with a zero byte; a longer message is cut */
} melnar_error;

/** Returns the version of the library, such as "0.1.0". */
MELNAR_EXPORT const char* melnar_version(void);

/** Returns the name of a code, such as "MELNAR_FULL", or "unknown". */
MELNAR_EXPORT const char* melnar_code_name(int code);

/** What a dictionary is made or opened with. */
typedef struct melnar_options {
    uint64_t memory_limit;                /**< of the dictionary; more than 0 */
    uint64_t maximum_number_of_resources; /**< 0 for as many as the memory has room for, at most 4294967293 */
} melnar_options;

/** Makes an empty dictionary. Close it with melnar_close. */
MELNAR_EXPORT melnar_code melnar_create(const melnar_options* options, melnar_dictionary** dictionary,
                                        melnar_error* error);

/** Opens a saved dictionary. Its file determines how many resources it can hold. Close it with melnar_close; the file
 * is not needed after this call. */
MELNAR_EXPORT melnar_code melnar_open(const char* file_name, const melnar_options* options,
                                      melnar_dictionary** dictionary, melnar_error* error);

/** Writes everything to a file, atomically: an old file is replaced as a whole or not at all. */
MELNAR_EXPORT melnar_code melnar_save(melnar_dictionary* dictionary, const char* file_name, melnar_error* error);

/** Releases a dictionary, or does nothing for a null pointer. */
MELNAR_EXPORT void melnar_close(melnar_dictionary* dictionary);

/** Sets `size` to the number of resources that exist, committed or not. */
MELNAR_EXPORT melnar_code melnar_size(const melnar_dictionary* dictionary, uint64_t* size, melnar_error* error);

/** Sets `bytes` to the memory that the dictionary has taken, all of it counted against its limit. */
MELNAR_EXPORT melnar_code melnar_memory_in_use(const melnar_dictionary* dictionary, uint64_t* bytes,
                                               melnar_error* error);

/** A moment of the dictionary's history: the first ID that is not committed. */
typedef uint64_t melnar_commit_point;

/** The commit point as of which lookups see every resource, committed or not. */
#define MELNAR_UNCOMMITTED UINT64_MAX

/** Moves the commit point past everything encoded so far. `commit_point`, if it is not null, receives it. */
MELNAR_EXPORT melnar_code melnar_commit(melnar_dictionary* dictionary, melnar_commit_point* commit_point,
                                        melnar_error* error);

/** Withdraws every resource since the last commit. Their IDs are not reused. */
MELNAR_EXPORT melnar_code melnar_rollback(melnar_dictionary* dictionary, melnar_error* error);

/** Sets `commit_point` to that of the last commit. */
MELNAR_EXPORT melnar_code melnar_get_commit_point(const melnar_dictionary* dictionary,
                                                  melnar_commit_point* commit_point, melnar_error* error);

/** Encodes a column of `count` texts: ids[n] becomes the ID of texts[n], which is created if there is none; new strings
 * get their IDs in the order of the column. If `lengths` is null, each text ends before its zero byte. All texts have
 * the language tag `language`, without '@', or no tag if it is null or empty. Stops at the first failure. */
MELNAR_EXPORT melnar_code melnar_encode(melnar_dictionary* dictionary, const char* const* texts, const size_t* lengths,
                                        size_t count, const char* language, uint64_t* ids, melnar_error* error);

/** The same for a column in Arrow's layout for strings: text n is the bytes from offsets[n] to offsets[n + 1], so there
 * are `count` + 1 offsets. */
MELNAR_EXPORT melnar_code melnar_encode_arrow32(melnar_dictionary* dictionary, const char* bytes,
                                                const int32_t* offsets, size_t count, const char* language,
                                                uint64_t* ids, melnar_error* error);

/** The same for a column of large strings, whose offsets have 64 bits. */
MELNAR_EXPORT melnar_code melnar_encode_arrow64(melnar_dictionary* dictionary, const char* bytes,
                                                const int64_t* offsets, size_t count, const char* language,
                                                uint64_t* ids, melnar_error* error);

/** Looks up a column of texts: ids[n] becomes the ID of texts[n], or 0 if the commit point covers no such string.
 * Texts, lengths and language are as for melnar_encode. */
MELNAR_EXPORT melnar_code melnar_lookup(const melnar_dictionary* dictionary, melnar_commit_point commit_point,
                                        const char* const* texts, const size_t* lengths, size_t count,
                                        const char* language, uint64_t* ids, melnar_error* error);

/** The same for a column in Arrow's layout for strings; offsets are as for melnar_encode_arrow32. */
MELNAR_EXPORT melnar_code melnar_lookup_arrow32(const melnar_dictionary* dictionary, melnar_commit_point commit_point,
                                                const char* bytes, const int32_t* offsets, size_t count,
                                                const char* language, uint64_t* ids, melnar_error* error);

/** The same for a column of large strings. */
MELNAR_EXPORT melnar_code melnar_lookup_arrow64(const melnar_dictionary* dictionary, melnar_commit_point commit_point,
                                                const char* bytes, const int64_t* offsets, size_t count,
                                                const char* language, uint64_t* ids, melnar_error* error);

/** A column in Arrow's layout for large strings: text n is the bytes from offsets[n] to offsets[n + 1]. */
typedef struct melnar_column {
    size_t count;     /**< of the texts */
    char* bytes;      /**< of all texts, one after the other */
    int64_t* offsets; /**< count + 1 of them */
} melnar_column;

/** Sets `column` to the texts of resources, without language tags. Release it with melnar_column_free. After a failure
 * it is empty. */
MELNAR_EXPORT melnar_code melnar_decode(const melnar_dictionary* dictionary, const uint64_t* ids, size_t count,
                                        melnar_column* column, melnar_error* error);

/** Releases the contents of a column and makes it empty. Null pointers and empty columns are left alone. */
MELNAR_EXPORT void melnar_column_free(melnar_column* column);

/** The kinds of RDF terms. */
typedef enum melnar_term_kind {
    MELNAR_IRI = 1,        /**< an IRI */
    MELNAR_BLANK_NODE = 2, /**< a blank node */
    MELNAR_LITERAL = 3,    /**< a literal of any datatype */
    MELNAR_TRIPLE_TERM = 4 /**< a triple term */
} melnar_term_kind;

/** The base direction of a literal with a language tag. */
typedef enum melnar_direction {
    MELNAR_NO_DIRECTION = 0,  /**< no direction is given */
    MELNAR_LEFT_TO_RIGHT = 1, /**< "ltr" */
    MELNAR_RIGHT_TO_LEFT = 2  /**< "rtl" */
} melnar_direction;

/** An RDF term. Strings are literals without a datatype. A part that is absent is a null pointer of length 0. */
typedef struct melnar_term {
    int32_t kind;           /**< a melnar_term_kind */
    int32_t direction;      /**< a melnar_direction, for a literal with a language tag */
    const char* text;       /**< an IRI; a label without "_:"; a literal's text; a triple term in N-Triples */
    size_t text_length;     /**< of the text, in bytes */
    const char* language;   /**< of a literal, without '@' */
    size_t language_length; /**< of the language tag, in bytes */
    const char* datatype;   /**< of a literal, its IRI; empty for xsd:string and with a language tag */
    size_t datatype_length; /**< of the datatype's IRI, in bytes */
} melnar_term;

/** Sets `term` to the term of a resource. All its parts have a length and also end with a zero byte. Release it with
 * melnar_term_free. */
MELNAR_EXPORT melnar_code melnar_get(const melnar_dictionary* dictionary, uint64_t id, melnar_term* term,
                                     melnar_error* error);

/** Releases what melnar_get has set, and makes the term empty. Null pointers and empty terms are left alone. */
MELNAR_EXPORT void melnar_term_free(melnar_term* term);

/** Sets `id` to the ID of a term, which is created if there is none. */
MELNAR_EXPORT melnar_code melnar_encode_term(melnar_dictionary* dictionary, const melnar_term* term, uint64_t* id,
                                             melnar_error* error);

/** Sets `id` to the ID of a term that the commit point covers, or to 0. */
MELNAR_EXPORT melnar_code melnar_lookup_term(const melnar_dictionary* dictionary, melnar_commit_point commit_point,
                                             const melnar_term* term, uint64_t* id, melnar_error* error);

#ifdef __cplusplus
}
#endif

/* NOLINTEND */

#endif
