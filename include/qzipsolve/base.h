/* Ground of the binary interface: fixed-width integers, the layout guard, and the
 * character type of names. Compiles as C11 and as C++20. */
#ifndef QZIPSOLVE_BASE_H
#define QZIPSOLVE_BASE_H

#include <stddef.h>
#include <stdint.h>
#include <wchar.h>

#ifdef __cplusplus
#define QZ_STATIC_ASSERT(condition, text) static_assert(condition, text)
#else
#define QZ_STATIC_ASSERT(condition, text) _Static_assert(condition, text)
#endif

/* Guards one field of an interface record: its byte offset never changes. */
#define QZ_ASSERT_OFFSET(record, field, offset) \
  QZ_STATIC_ASSERT(offsetof(record, field) == (offset), #record "." #field " moved")
#define QZ_ASSERT_SIZE(record, size) QZ_STATIC_ASSERT(sizeof(record) == (size), #record " changed its size")

QZ_STATIC_ASSERT(sizeof(void*) == 8, "the interface is laid out for 64-bit pointers");
QZ_STATIC_ASSERT(sizeof(wchar_t) == 4, "names cross the interface as 32-bit characters");

#endif
