/// \file i/basutattrfile.h
/// A list of name and value pairs.
#pragma once
#include "basutlist.h"
#include "uttypes.h"

namespace ketriope {

/// An entry of a `UT_ATTRFILE`. Both texts come from `malloc`, the entry from `new`.
struct attribute {
    char* name;
    char* value;
};

}  // namespace ketriope

/// The data of this list are `ketriope::attribute`, and a key of `find` is a name.
///
/// Ownership: entries that are handed in belong to the list; `freedata` releases them with their texts. A
/// copy shares the entries of its source, and only one of the two may be destroyed.
/// Threads: no locks; a list belongs to one thread at a time.
class UT_EXPORT UT_ATTRFILE : public UT_LIST {
public:
    UT_ATTRFILE() = default;
    UT_ATTRFILE(const UT_ATTRFILE&) = default;  // shallow on purpose, as is assignment: see above
    UT_ATTRFILE& operator=(const UT_ATTRFILE&) = default;
    /// Releases all entries.
    ~UT_ATTRFILE() override;

    /// Releases the entry and its two texts.
    void freedata(void* data) override;
    /// Prints "NAME = VALUE" to standard output.
    void printdata(void* data) override;
    /// True when the entry has the name `key`, case included.
    unsigned char finddata(void* data, void* key) override;
    /// The order of the names, byte by byte.
    int compdata(void* a, void* b) override;

    /// Puts a pair behind the last, with copies of both texts; null counts as "".
    void add(const char* name, const char* value);
    /// Moves the cursor to the first entry of this name and returns its value; null if there is none.
    ///
    /// Lifetime: as that of the entry.
    const char* value_of(const char* name);
};
