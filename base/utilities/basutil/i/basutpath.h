/// \file i/basutpath.h
/// The parts of a path, and its form inside the library.
///
/// Inside the library `/` alone separates, and paths are in lower case; `\` is a character like any
/// other to all functions here but the two that convert. No function looks at a disk.
///
/// The `ut_pathget...` functions give a part in two ways: as text in `out`, which may be null, and as a
/// pointer into `path`. Both are empty where there is no such part, and for a null path.
/// Shape: `out` has room for the path and a terminator, and is not `path` itself.
/// Lifetime: the result is part of `path`, and only to be written if that is the caller's own.
#pragma once
#include "uttypes.h"

/// The extension: what stands behind the last `.`, unless a `/` follows it.
///
/// The result points behind the `.`, at the terminator for "a."; null if there is no extension.
UT_EXPORT char* ut_pathgetext(const char* path, char* out);

/// The path without its extension and the `.`, or the whole path.
///
/// The result points behind the `.`; null if there is no extension.
UT_EXPORT char* ut_pathgetroot(const char* path, char* out);

/// The last component without its extension; "." and ".." keep their dots.
///
/// The result points at the last component.
UT_EXPORT char* ut_pathgetbase(const char* path, char* out);

/// The last component, empty for a path that ends in `/`.
///
/// The result points at it.
UT_EXPORT char* ut_pathgettail(const char* path, char* out);

/// What stands in front of the last `/`.
///
/// The result points behind that `/`; null if there is none.
UT_EXPORT char* ut_pathgethead(const char* path, char* out);

/// Brings a path into the form used inside the library, in place: `\` becomes `/`, upper case lower.
///
/// Returns its argument; null and "" come back as they are. Letters are those of ASCII. On a system
/// whose file names have case, the result may name another file: it is for comparing, not for opening.
UT_EXPORT char* ut_internal_path(char* s);

/// Turns each `/` into `\`, in place. Returns its argument; null for null.
UT_EXPORT char* ut_external_path(char* s);

/// True when DOS could have the path: a drive letter alone, or components of which each is "." or
/// "..", or has a name in front of its last `.` and only characters from 32 to 126 without `" : < > \ |`.
///
/// False for null, for "", and for an empty component, at the end of the path too; one leading `/` is
/// accepted. Lengths are not looked at.
UT_EXPORT bool ut_pathisdos(const char* path);
