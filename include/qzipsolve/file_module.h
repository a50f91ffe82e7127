/* `qzfile`: text files of wide characters, written line by line. The module's slot 80 opens a file. */
#ifndef QZIPSOLVE_FILE_MODULE_H
#define QZIPSOLVE_FILE_MODULE_H

#include "qzipsolve/host.h"

#ifdef __cplusplus
extern "C" {
#endif

/* What a file is to be. An implementation over plain files has no use for it; zeroed words are reserved. */
typedef struct QzFileAttributes {
  const wchar_t* accessMethod; /* 0: L"DISK" */
  int64_t accessMethodLength;  /* 8: characters */
  const wchar_t* extension;    /* 16: L"txt" */
  int64_t extensionLength;     /* 24: characters */
  int64_t lineLength;          /* 32: characters of the longest line */
  int32_t inputKind;           /* 40: record kinds */
  int32_t outputKind;          /* 44 */
  uint64_t reserved[10];
} QzFileAttributes;
QZ_ASSERT_SIZE(QzFileAttributes, 128);

/* An open file. */
typedef struct QzFile {
  uint64_t reserved0[2];
  int32_t (*close)(struct QzFile* file); /* 16: writes what waits and closes; 0, or not all of it reached the file */
  uint64_t reserved24[13];
  /* 128: writes one line of `byteCount` bytes of wide characters, without its end, which the module adds as one wide
   * newline. The last three arguments are 0. 0 on success. */
  int32_t (*writeLine)(struct QzFile* file, const wchar_t* text, int64_t byteCount, int64_t zero1, int64_t zero2,
                       int64_t zero3);
} QzFile;
QZ_ASSERT_OFFSET(QzFile, close, 16);
QZ_ASSERT_OFFSET(QzFile, writeLine, 128);

/* Slot 80 of the module: opens `name` (nameLength characters) for writing; a file that is there is written anew. Null
 * on failure, and then both codes are non-zero. `label` says who asks. */
typedef QzFile* (*QzOpenFile)(QzModule* module, const wchar_t* name, int64_t nameLength,
                              const QzFileAttributes* attributes, int64_t zero1, int64_t zero2, const wchar_t* label,
                              int32_t* rc, int64_t zero3, int32_t* rc2);

/* The module object: as QzModule up to its last slot, which has a type of its own here. */
typedef struct QzFileModule {
  uint64_t common[10]; /* 0: see QzModule */
  QzOpenFile open;     /* 80 */
} QzFileModule;
QZ_ASSERT_SIZE(QzFileModule, 88);
QZ_ASSERT_OFFSET(QzFileModule, open, 80);

#ifdef __cplusplus
}
#endif
#endif
