// fuzz/packed_memory.h: packed data in memory, without reports and without an end of the process.
#pragma once
#include <cstddef>
#include <string>

#include "../tests/support/packed_tools.h"
#include "msgdatabase.h"
#include "platform.h"

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

/// Reads `piece` bytes at a time, up to `most` of them; the end of the process is an end, too.
inline std::string unpacked_quietly(const std::string& stored, std::size_t piece, std::size_t most)
{
    memory_device device(stored);
    UTPAK_DATA packer(&device, 0, 0);
    std::string content;
    try {
        append_unpacked(packer, piece, most, content);
    } catch (const quiet_process::process_end&) {
    }
    return content;
}
