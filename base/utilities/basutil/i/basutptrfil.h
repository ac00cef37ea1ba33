/// \file i/basutptrfil.h
/// Files for graphs of objects that point at each other.
///
/// The writer stores each pointer as the address that it has in the writing process. To the reader that
/// is a key and no more: it says where each object is now (`registerptr`) and which places hold old
/// addresses (`fixptr`), in any order, and each place is set as soon as both are known. The layout of the
/// objects in the file is the caller's.
/// Ownership: a copy shares the table of its source, and only one of the two may be destroyed.
/// Threads: no locks; all of it belongs to one thread at a time.
#pragma once
#include <cstdint>
#include <cstring>

#include "basutdarray.h"
#include "basutstream.h"
#include "uttypes.h"

namespace ketriope {
struct fixup_records;
}

/// What is known of one old address.
struct UT_PTRFIXREC {
    UT_PTRFIXREC* next = nullptr;        ///< in the bucket: the one that was made before
    void* old_address = nullptr;         ///< in the process that wrote it: a key, never followed
    void* new_address = nullptr;         ///< null until known
    DARRAY_UT_PTRPTR* places = nullptr;  ///< that wait for the new address; null where there are none
};

/// All old addresses that were named, and the places that wait for new ones.
class UT_EXPORT UT_PTRFIXTABLE {
public:
    UT_PTRFIXTABLE();
    UT_PTRFIXTABLE(const UT_PTRFIXTABLE&) = default;  // shallow on purpose, as is assignment: see above
    UT_PTRFIXTABLE& operator=(const UT_PTRFIXTABLE&) = default;
    ~UT_PTRFIXTABLE();

    /// Says that the object that was at `old_address` is at `new_address` now, and sets the places that
    /// waited for it.
    ///
    /// To say the same twice is harmless. A null `new_address` leaves the places waiting.
    /// Errors: another new address than before breaks the contract, exit value 19; the first one stays.
    /// Cost: constant, and the places set.
    void registerptr(void* old_address, void* new_address);

    /// Sets `*place`, which holds an old address, to the new one: now if that is known, else as soon as it
    /// is.
    ///
    /// A null `*place` stays null, and a null `place` is ignored.
    /// Lifetime: the place must stay until then, or until `flush_fixtable`.
    /// Cost: constant.
    void fixptr(void** place);

    /// Returns the next place that still waits; null when all were shown, and the next call begins anew.
    ///
    /// Shape: by buckets, in a bucket the youngest address first, for an address in the order of `fixptr`.
    void** checkptrs();

    /// Forgets all addresses and places.
    void flush_fixtable();

private:
    UT_PTRFIXREC& record_of(void* old_address);
    void start_walk();

    ketriope::fixup_records* records_;  ///< the buckets stand at its front
    std::uint32_t walk_bucket_;         ///< of checkptrs; beyond all of them when no walk is under way
    UT_PTRFIXREC* walk_record_ = nullptr;
    std::int32_t walk_place_ = 0;
};

/// A stream of graphs. It is opened by `UT_FILEMANAGER::open` as a caller's stream.
///
/// A pointer has 8 bytes in the file, most significant first; null is 0.
/// Use plain files, or those of the general compressors: in front of packed data a caller's stream stops.
class UT_EXPORT UT_PTRFILE : public UT_STREAM {
public:
    explicit UT_PTRFILE(UT_ACCESS access);
    UT_PTRFILE(const UT_PTRFILE&) = default;  // shallow on purpose, as is assignment
    UT_PTRFILE& operator=(const UT_PTRFILE&) = default;
    ~UT_PTRFILE() noexcept(false) override;

    /// Writes the address and returns the count of bytes.
    int writeptr(void* const pointer)
    {
        return write(static_cast<ut_uint64>(reinterpret_cast<std::uintptr_t>(pointer)));
    }
    /// Reads an address and returns the count of bytes; missing ones count as 0.
    int readptr(void*& pointer)
    {
        ut_uint64 address = 0;
        const int count = read(address);
        const auto bits = static_cast<std::uintptr_t>(address);
        std::memcpy(&pointer, &bits, sizeof pointer);
        return count;
    }

    /// These four are those of `UT_PTRFIXTABLE`.
    void registerptr(void* old_address, void* new_address) { table_.registerptr(old_address, new_address); }
    void fixptr(void** place) { table_.fixptr(place); }
    void** checkptrs() { return table_.checkptrs(); }
    void flush_fixtable() { table_.flush_fixtable(); }

private:
    UT_PTRFIXTABLE table_;
};
