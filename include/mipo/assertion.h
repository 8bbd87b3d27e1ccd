// Assertions on what only a programming error in the host can break: they end the process through the platform's
// `__assert_fail`, under the source name that hosts know from crash reports, whatever file the check stands in.
#ifndef MIPO_ASSERTION_H
#define MIPO_ASSERTION_H

#include <stddef.h>
#include <sys/cdefs.h>

#ifdef __cplusplus
extern "C" {
#endif

// Declared as in the platform's <assert.h>, which hides it under NDEBUG.
extern void __assert_fail(const char *expression, const char *file, unsigned int line, const char *function) __THROW
    __attribute__((__noreturn__));

#ifdef __cplusplus
}
#endif

#define MIPO_ASSERTION_SOURCE "mipoc_arm64neon"

// Ends the process, reporting `expression` (a text) in the function where it stands.
#define MIPO_ASSERTION_FAILED(expression) __assert_fail(expression, MIPO_ASSERTION_SOURCE, __LINE__, __func__)

// Pins where a field of a record lies: the records are shared with hosts that were compiled against older headers.
#ifdef __cplusplus
#define MIPO_FIELD_AT(record, field, byte) \
  static_assert(offsetof(record, field) == (byte), #record "." #field " is at byte " #byte " in every release")
#define MIPO_RECORD_SIZE(record, bytes) static_assert(sizeof(record) == (bytes), #record " has " #bytes " bytes")
#else
#define MIPO_FIELD_AT(record, field, byte) \
  _Static_assert(offsetof(record, field) == (byte), #record "." #field " is at byte " #byte " in every release")
#define MIPO_RECORD_SIZE(record, bytes) _Static_assert(sizeof(record) == (bytes), #record " has " #bytes " bytes")
#endif

#endif
