// fuzz/packed_memory.h: packed data in memory, without reports and without an end of the process.
#pragma once
#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>

#include "basutpak.h"
#include "msgdatabase.h"
#include "platform.h"

class memory_device : public UT_IO_DEVICE {
public:
    explicit memory_device(std::string bytes = "") : stored(std::move(bytes)) {}

    int get_rawdata(unsigned char* out, int count) override
    {
        const std::size_t got =
            stored.copy(reinterpret_cast<char*>(out), static_cast<std::size_t>(count), at_);
        at_ += got;
        return static_cast<int>(got);
    }
    int set_rawdata(unsigned char* from, int count) override
    {
        stored.append(reinterpret_cast<const char*>(from), static_cast<std::size_t>(count));
        return count;
    }
    long set_rawoffset(long) override { return -1; }
    long get_rawoffset() override { return -1; }

    std::string stored;

private:
    std::size_t at_ = 0;
};

/// Counts the reports of a bogus offset, and turns the end of the process into an exception.
class quiet_process final : public ketriope::message_database {
public:
    struct process_end {};

    quiet_process() : before_(ketriope::install_database(this)), table_(ketriope::platform::native())
    {
        table_.end_process = [](int) { throw process_end(); };
        ketriope::platform::use_operations(&table_);
    }
    ~quiet_process()
    {
        ketriope::platform::use_operations(nullptr);
        ketriope::install_database(before_);
    }
    quiet_process(const quiet_process&) = delete;
    quiet_process& operator=(const quiet_process&) = delete;

    int reports = 0;

    void post_contract(const char*, int, const char*) override { ++reports; }
    void post_numbered(const char*, const char*, ut_va_list) override { ++reports; }
    void post_text(const char*, const char*) override { ++reports; }
    void post_finished(int, const char*) override { ++reports; }
    void show_types(int, bool) override {}

private:
    ketriope::message_database* before_;
    ketriope::platform::operations table_;
};

/// Reads `piece` bytes at a time, up to `most` of them.
inline std::string unpacked(const std::string& stored, std::size_t piece, std::size_t most)
{
    memory_device device(stored);
    UTPAK_DATA packer(&device, 0, 0);
    std::string content;
    std::string part(piece, '\0');
    while (content.size() < most) {
        long got = 0;
        try {
            got = packer.unpak(part.data(), static_cast<long>(piece));
        } catch (const quiet_process::process_end&) {
        }
        if (got < 1) break;
        content.append(part, 0, static_cast<std::size_t>(got));
    }
    return content;
}
