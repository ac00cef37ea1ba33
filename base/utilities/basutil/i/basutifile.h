/// \file i/basutifile.h
/// Indexed files: one file on disk that holds named segments, and a directory behind them.
///
/// To write one: `create`, then for each segment `putdataseg`, writes to the stream, `enddataseg`; at last
/// `unload`, which writes the directory. To read one: `load`, then `getseginfo` or `getnextseginfo`, and
/// `getdataseg`; at last `unload`. What the type and the data of a segment mean is up to each tool.
///
/// A file has at most 131,069 segments and 2^31 - 1 bytes. Offsets, sizes, types and data have 32 bits.
/// Names are NUL-terminated; a null file name counts as "". A success byte is 1 or 0.
/// Threads: no locks; an object belongs to one thread at a time.
#pragma once
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "basutio.h"
#include "basutlist.h"
#include "uttypes.h"

class UT_STREAM;

/// An entry of the directory. It belongs to the file that handed it out, until `unload`.
class UT_EXPORT UT_IFILEDIR {
public:
    UT_IFILEDIR(const UT_IFILEDIR&) = delete;
    UT_IFILEDIR& operator=(const UT_IFILEDIR&) = delete;

    const char* getname() const { return name_; }
    long gettype() const { return type_; }
    long getdata() const { return data_; }

private:
    friend class LIST_UT_IFILEDIR;
    friend class UT_IFILE;
    friend class UT_IFILESEGINFO;

    UT_IFILEDIR(const char* name, long offset, long size, long type, long data);
    ~UT_IFILEDIR();

    char* name_;
    ut_long offset_;  ///< of the segment's first byte in the file
    ut_long size_;    ///< in bytes
    ut_long type_;
    ut_long data_;
};

/// What a caller learns of a segment; a value of its own, but for the entry that it may remember.
class UT_EXPORT UT_IFILESEGINFO {
public:
    UT_IFILESEGINFO() = default;
    UT_IFILESEGINFO(const UT_IFILESEGINFO& other);
    UT_IFILESEGINFO& operator=(const UT_IFILESEGINFO& other);
    ~UT_IFILESEGINFO();

    /// "" where there is no segment.
    const char* getname() const { return name_ != nullptr ? name_ : ""; }
    /// Units: bytes.
    long getsize() const { return size_; }
    long gettype() const { return type_; }
    long getdata() const { return data_; }
    void setdata(long data) { data_ = static_cast<ut_long>(data); }
    /// The entry that `UT_IFILE::getnextseginfo` was asked to keep, or null.
    /// Lifetime: it goes with the file's `unload`; give the next file another object, or set null.
    UT_IFILEDIR* getifileDir() const { return entry_; }
    void setifileDir(UT_IFILEDIR* entry) { entry_ = entry; }

private:
    friend class UT_IFILE;

    void setname(const char* name);
    void fill(const UT_IFILEDIR& entry);
    unsigned char fill_or_clear(const UT_IFILEDIR* entry);

    char* name_ = nullptr;
    ut_long size_ = 0;
    ut_long type_ = 0;
    ut_long data_ = 0;
    UT_IFILEDIR* entry_ = nullptr;
};

/// The entries of a directory, in the order of the file. It owns them.
class UT_EXPORT LIST_UT_IFILEDIR : public UT_LIST {
public:
    LIST_UT_IFILEDIR() = default;
    LIST_UT_IFILEDIR(const LIST_UT_IFILEDIR&) = default;  // shallow on purpose, as is assignment
    LIST_UT_IFILEDIR& operator=(const LIST_UT_IFILEDIR&) = default;
    ~LIST_UT_IFILEDIR() override;

    void freedata(void* data) override;
    /// Tells the entry's name as a status message.
    void printdata(void* data) override;
    /// True for an entry whose name is `key`, a NUL-terminated text; false for a null one.
    unsigned char finddata(void* data, void* key) override;
    /// Orders entries by the bytes of their names.
    int compdata(void* a, void* b) override;
};

/// One indexed file at a time, being read or being written.
///
/// Ownership: a copy shares the entries, the stream and the name of its source, and only one of the two may
/// be destroyed. The streams that it hands out are its own.
/// Errors: what cannot be stored on a full disk shows in the stream's `geterror`, and in that of `ut_file`
/// when `unload` is done. A file that was opened before and cannot be opened again is message 1105 and the
/// end of the process, exit value 1.
class UT_EXPORT UT_IFILE {
public:
    UT_IFILE();
    UT_IFILE(const UT_IFILE&) = default;  // shallow on purpose, as is assignment: see above
    UT_IFILE& operator=(const UT_IFILE&) = default;
    /// Lets go of everything.
    /// Errors: a file that is being written has no directory then, and cannot be read: message 1409.
    virtual ~UT_IFILE() noexcept(false);

    // The order of these declarations is the order of the slots.

    /// Begins the segment `name`, and returns the stream that takes its bytes.
    ///
    /// A segment that is there already is written anew, behind all others: its old bytes stay in the file,
    /// and nothing refers to them. In the directory it keeps its place.
    /// One that is not ended has size 0, and what comes next is written over it.
    /// Lifetime: the stream is good until `enddataseg`.
    /// Errors: null where no file is being written, for a null name, and with the file cache off while a
    /// segment is in work.
    virtual UT_STREAM* putdataseg(const char* name, long type, long data);
    /// Reports a file of another version. Errors: breaks the contract, exit value 2.
    virtual void version_mismatch(unsigned char version);
    /// Reports a file of another revision: message 1412, and `load` goes on.
    virtual void revision_mismatch(unsigned char revision);
    /// Reports that the file cannot be opened.
    /// Errors: breaks the contract, exit value 3 for a file to be read, 4 for one to be written.
    virtual void openerror();

    // ---- the file

    /// Makes the file `name`, or empties it, to write segments.
    ///
    /// A file that is still held is let go without a directory, as message 1411 says. Its entries stay, and
    /// go into the new file's directory.
    /// Errors: `openerror` and false; the name is held even so, and `unload` tries to open the file again.
    unsigned char create(const char* name);
    /// Opens the file `name` and reads its directory.
    ///
    /// A file that is still held is let go as by `create`, with message 1410. Where two entries have one
    /// name, the first is the one that is found by it. Whatever the file holds, reading it is safe: what
    /// lies behind its end reads as 0 and "".
    /// Errors: `openerror` or `version_mismatch`, and false; the name is held even so, until `unload`.
    unsigned char load(const char* name);
    /// Ends the work on the file: writes the directory if it is being written, and closes it.
    ///
    /// More than 65,535 segments are told as a status message.
    /// Errors: false and message 1104 if no file is held. More segments than a file can have break the
    /// contract, exit value 1, and the file stays held. Without its header it cannot be read.
    unsigned char unload();
    /// With the cache, which is the default, the file is open all the time; without it only while a segment
    /// is in work. That is for tools with many indexed files: `ut_file` holds 30 streams.
    void setfilecache(unsigned char on) { cache_ = on; }

    /// Of the file that was loaded; 0 for one that was created.
    unsigned char getversion() const { return version_; }
    unsigned char getrevision() const { return revision_; }
    unsigned char getdataversion() const { return data_version_; }
    /// Without bit 6 (0x40), which is the file's own.
    unsigned char getdatarevision() const { return static_cast<unsigned char>(data_revision_ & ~k_file_bit); }
    void setdataversion(unsigned char version) { data_version_ = version; }
    /// Bit 6 (0x40) is dropped.
    void setdatarevision(unsigned char revision) { data_revision_ = revision; }
    /// The file that is held; null if there is none.
    const char* getfname() const { return name_; }
    UT_ACCESS getaccess() const { return static_cast<UT_ACCESS>(mode_); }
    /// How many segments there are, modulo 65,536. Cost: linear, as is the next one.
    unsigned short getnumsegs() const { return static_cast<unsigned short>(entries_.count()); }
    long getrealnumsegs() const { return entries_.count(); }

    // ---- segments

    /// Adds an entry of size 0 at the next free place, whatever has this name already, and returns it.
    ///
    /// Errors: null for a null name.
    UT_IFILEDIR* newfdir(const char* name, long type, long data);
    /// Ends the segment in work. False if no stream is open.
    unsigned char enddataseg();
    /// Returns the stream, standing at the first byte of the segment `name`; what follows its last byte is
    /// not the segment's.
    ///
    /// `info` may be null. It is filled from the entry; if it remembers one of this name, that is the one
    /// taken.
    /// Lifetime: the stream is good until `enddataseg`, or with the file cache until the next segment is
    /// asked for.
    /// Errors: null for a segment that is not there or has another type than `type`, unless that is all
    /// ones (-1 or 0xFFFFFFFF); where no file is being read; for a null name; and with the file cache off
    /// while a segment is in work. An entry whose offset is negative gives a stream at its end, with
    /// `geterror`.
    UT_STREAM* getdataseg(const char* name, long type, UT_IFILESEGINFO* info);
    /// Fills `info` with what the directory tells of the segment `name`; if there is none, gives it the name
    /// "" and returns false.
    unsigned char getseginfo(const char* name, UT_IFILESEGINFO& info) const;
    /// Does so for the next entry in the file's order, and remembers it in `info` if `keep` is not 0.
    ///
    /// At the end, and from there on until `resetseginfo`, `info` gets the name "" and the result is false.
    unsigned char getnextseginfo(UT_IFILESEGINFO& info, unsigned char keep);
    /// Begins again with the first entry.
    void resetseginfo() { entries_.reset(); }

private:
    struct entry_release;
    using name_map = std::map<std::string, UT_IFILEDIR*, std::less<>>;
    using new_entry = std::unique_ptr<UT_IFILEDIR, entry_release>;

    static constexpr unsigned char k_file_bit = 0x40;  ///< of the data revision: 65,536 segments more

    void begin(const char* name, int mode);
    bool reopen(UT_ACCESS access);
    void close_stream();
    void readsegdir();
    bool write_directory();
    ut_long directory_offset();
    UT_IFILEDIR* add(new_entry entry, name_map::const_iterator place);
    UT_IFILEDIR* find(const char* name) const;
    void go_to(ut_long offset);

    LIST_UT_IFILEDIR entries_;  ///< in the order of the file
    name_map by_name_;          ///< the first entry of each name
    unsigned char version_ = 0;
    unsigned char revision_ = 0;
    unsigned char data_version_ = 0;
    unsigned char data_revision_ = 0;
    char* name_ = nullptr;         ///< of the file; null if none is held
    std::int32_t mode_ = 1;        ///< 1 to read, 2 to write
    ut_long next_free_ = 128;      ///< where the next segment goes
    UT_STREAM* stream_ = nullptr;  ///< the file's, or with the cache off that of the segment in work
    UT_IFILEDIR* current_ = nullptr;
    unsigned char cache_ = 1;
};
