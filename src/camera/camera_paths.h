// Path names on the camera's cards: conversions between the application's
// syntax and the camera's, and the path and directory-subtree lists the
// storage operations send. The free functions here need no device object;
// the conversions that depend on the camera's model are device-object
// methods (Dslr1394Object.h).
#pragma once

#include "platform/win32_types.h"

// Rewrites a volume prefix "ATA01:" as "/ATA01" in place (same length).
void _ChangeDrivePrefix(char* path);
// Replaces every `find` by `replacement` up to the first NUL.
void Utl_ReplaceChar(char* string, char find, char replacement);

// Directory-subtree lists: entries of a depth byte, a path and (with bit
// 0x40 of the depth byte) a second string, ended by an empty path.
DWORD _LenDirSubtree(const BYTE* list);
void Utl_TrimDirSubtree(BYTE* list, DWORD* length);

// Path lists: NUL-terminated strings ended by an empty one.
DWORD _GetTotalPathLength(const char* list);
// Expands a list of a base and names into full paths (1), or copies a list
// of one string unchanged (0); 0x02000003 when the walk's scratch space
// cannot be had. `output` must hold Utl_MakePathLength bytes.
DWORD Utl_MakePathList(const char* list, DWORD total, char* output, DWORD* outputLength);
// The bytes the expansion of a list needs (never less than `total`), or 0
// when the walk's scratch space cannot be had.
DWORD Utl_ExpandedPathLength(const char* list, DWORD total);
