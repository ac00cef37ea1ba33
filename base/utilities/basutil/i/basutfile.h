/// \file i/basutfile.h
/// The file manager: the owner of the open files of a process, and the file-system helpers of the suite.
///
/// `open` decides from the mask, the environment and the file's first bytes how a stream is set up, and
/// keeps it in a table of 30, so that all can be closed at the end. Names are NUL-terminated; a null name
/// counts as "". A success byte is 1 or 0, and with 0 the reason stands in `geterror`.
/// Threads: no locks; the table belongs to one thread at a time.
#pragma once
#include <cstdint>
#include <string>

#include "basutio.h"
#include "uttypes.h"

class UT_STREAM;

class UT_EXPORT UT_FILEMANAGER {
public:
    /// Checks that "TEMP" names a writable place, and traces each opened file if `QVS_FILE_TRACE` is set.
    ///
    /// Errors: an unusable "TEMP" is reported and ends the process, exit value 19.
    UT_FILEMANAGER();
    UT_FILEMANAGER(const UT_FILEMANAGER&) = delete;
    UT_FILEMANAGER& operator=(const UT_FILEMANAGER&) = delete;
    /// Does what `close_all` does.
    ~UT_FILEMANAGER() noexcept(false);

    /// Opens the file `name`, finding out by its signature whether it is plain, packed or compressed.
    ///
    /// For writing, the environment may force a compressed form: "GCA" or "GCB" in `QVS_COMP_ALG`
    /// replaces the mask where it asks for compression anyway, or where `QVS_COMP_MAND` is "yes" or "YES",
    /// which alone stands for GCA; every other bit of the mask is dropped, the append bit included.
    /// A non-zero `truncate` removes a file that is to be written first.
    /// Ownership: the stream is the manager's, good until `close`.
    /// Errors: null. Where the system refuses, `geterror` has the reason, 13 for a directory; a full
    /// table, a form that contradicts the mask and packed data without a version are reported instead.
    UT_STREAM* open(const char* name, UT_ACCESS access, unsigned char truncate);

    /// Opens the file `name` on a stream of the caller's, whose mask says how.
    ///
    /// A stream that has a descriptor is only entered in the table. The version bytes of a packed file
    /// are left to the caller: `seekstart` passes them by. A raw stream that meets packed data is reported,
    /// stays raw, and stands at these bytes.
    /// Ownership: the stream stays the caller's; `close` puts it back to its start, ready to be opened again.
    UT_STREAM* open(const char* name, UT_STREAM* stream, unsigned char truncate);

    /// Writes out what `stream` holds, finishes its compression, closes its descriptor and forgets it.
    ///
    /// A stream that the manager made is destroyed. What could not be written shows in `geterror`.
    /// Errors: 0 for a stream that is not in the table, which is not touched.
    unsigned char close(UT_STREAM* stream);

    /// Closes every stream of the table and deletes the files of the list of temporary names.
    ///
    /// The manager may be used again afterwards. Errors: a file that cannot be deleted leaves the reason in
    /// `geterror`; a broken contract of one stream is raised when all the others are closed.
    void close_all();

    /// Writes the names of the open files to `ut_msgman`.
    ///
    /// Only a mask of exactly 2 shows as "write": compressed and appending streams count as "read" here.
    void dumpopenfiles();

    /// Deletes a file, never a directory.
    unsigned char remove(const char* name);
    /// Deletes `to`, then gives its name to `from`, another file.
    ///
    /// The result is that of the second step alone, though both leave their errors in `geterror`. What was
    /// deleted does not come back when the second step fails.
    unsigned char rename(const char* from, const char* to);
    /// Copies the bytes of `from` into `to`, another file, which is made or overwritten.
    ///
    /// Errors: 0 if one of the two cannot be opened, with error 2 for a source that is not there. A failed
    /// write leaves its reason in `geterror` and stops the copy; the result is then 1 if `from` had bytes.
    unsigned char copy(const char* from, const char* to);
    /// Appends the content of `from`, unpacked if it is packed, at the end of `to`, which is made if need be.
    unsigned char append(const char* from, const char* to);
    /// The same through a stream opened for appending.
    unsigned char appendplus(const char* from, const char* to);
    /// Appends `text` and a line end (CR LF) to `to`, which is made if need be.
    unsigned char appendline(const char* text, const char* to);
    /// The same over the last two bytes of `to`, so that `text` continues its last line.
    unsigned char appendstring(const char* text, const char* to);
    /// Makes a directory.
    unsigned char mkdir(const char* name);
    /// Removes an empty directory.
    unsigned char rmdir(const char* name);
    /// Makes `name` the working directory of the process.
    unsigned char chdir(const char* name);

    /// Stores the working directory in `buffer`, `length` bytes with the terminator.
    ///
    /// The prefix "/tmp_mnt" that automounters put before "/net/" is left out. Below a length of 2, and
    /// after every failure, the buffer is left as it is.
    /// Errors: no directory, or one that does not fit, breaks the contract, exit value 69.
    unsigned char getcwd(char* buffer, unsigned short length);

    /// Looks for `name` in the directories `paths`, up to `count` of them or the first null.
    ///
    /// Returns the entry of `paths` that worked and stores the whole name in `result`, which has room for
    /// 1024 bytes; null if there is none. Directories count as found.
    /// Errors: an entry whose name would be too long is reported as message 1413 and passed over.
    const char* find(const char* name, const char** paths, int count, char* result);

    /// Makes a name below "TEMP" that is not in use, with slashes throughout, and stores it in `buffer`.
    ///
    /// Shape: `buffer` has room for the value of "TEMP" and 40 bytes more. With a null `buffer` the name
    /// stands in one that the whole process shares, good until the next such call.
    /// Errors: `buffer` as it was if "TEMP" is not set; null if no name was found.
    char* tmpnam(char* buffer);
    /// Enters a copy of `name` in the list of files deleted at the end; 0 if it has 30, or for null.
    unsigned char addtmpnam(const char* name);
    /// Takes `name` off that list; 0 if it was not there.
    unsigned char remtmpnam(const char* name);

    /// True for anything that has this name.
    unsigned char exist(const char* name);
    /// Errors: 13 for what is no directory; likewise the three below for what is not as asked.
    unsigned char isdir(const char* name);
    unsigned char isfile(const char* name);
    /// By the owner's permission, so that the answer does not depend on who asks.
    unsigned char canread(const char* name);
    /// The same; a file that does not exist is made and removed again, to see.
    unsigned char canwrite(const char* name);
    /// True for a name that begins with `/`, `\`, or a letter, a colon and one of these.
    static unsigned char isabsolute(const char* name);

    /// Returns the bytes on disk; -1 on failure, and with error 13 for a directory.
    long getsize(const char* name);
    /// Returns the bytes that a reader gets, which takes reading a compressed file whole; -1 on failure.
    long getrsize(const char* name);
    /// Stores when the file was last written. Units: seconds since 1970.
    unsigned char getdatetime(const char* name, ut_int64& seconds);
    /// Returns that time as text, such as "Thu Jan  1 00:00:00 1970" in local time; "?" on failure.
    /// Lifetime: as that of a `zeoform` text.
    char* asciidatetime(const char* name);
    /// The same into `buffer` of at least 26 bytes, which is returned.
    char* asciidatetime(const char* name, char* buffer);

    /// Turns each `/` into `\`, in place; 0 only for null.
    unsigned char makedospath(char* path);
    /// Turns each `\` into `/`, in place; 0 only for null.
    unsigned char makeunixpath(char* path);

    /// The `errno` of the last failure, 0 if there was none.
    int geterror() const { return error_; }
    void clearerror() { error_ = 0; }

private:
    friend class UT_STREAM;  // a stream that is destroyed leaves its manager's table

    static constexpr int k_slots = 30;  ///< of open files, and of temporary names

    struct slot {
        UT_STREAM* stream = nullptr;
        std::int32_t descriptor = -1;  ///< -1 when the slot is free
        std::string name;
        bool is_callers = false;  ///< the stream is not ours to destroy
    };
    struct opening;

    UT_STREAM* add_ofile(const char* name, UT_ACCESS access, UT_STREAM* stream, unsigned char truncate);
    unsigned char rm_ofile(UT_STREAM* stream);
    slot* find_ofile(UT_STREAM* stream);
    void let_go(const slot& closing);

    unsigned char noted(bool done);
    UT_STREAM* open_at_end(const char* name, UT_ACCESS access, long back);
    unsigned char append_file(const char* from, const char* to, UT_ACCESS access);
    unsigned char append_text(const char* text, const char* to, UT_ACCESS access, long back);
    unsigned char finished(UT_STREAM& stream);

    slot slots_[k_slots];
    std::int32_t error_ = 0;
    std::int32_t temporary_count_ = 0;
    std::string temporary_names_[k_slots];
    bool trace_ = false;
};

/// The manager of the process. It is built last at library load, and closes what is left at the end.
extern UT_EXPORT UT_FILEMANAGER& ut_file;
