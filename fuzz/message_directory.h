// fuzz/message_directory.h: a directory of message files below TEMP for the time of a fuzzing run, and a
// database of each input's own.
#pragma once
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include <unistd.h>

#include "fuzz_check.h"
#include "utmsgdbmanager.h"

/// The database finds its files here; it goes with the process.
class message_directory {
public:
    message_directory()
        : root_(std::filesystem::path(std::getenv("TEMP")) / ("fuzz." + std::to_string(::getpid())))
    {
        std::filesystem::create_directories(root_ / "msgdata");
        ::setenv("FOUNDRY", root_.c_str(), 1);
        for (const char* other : {"ENV", "TOOLRTF"}) ::unsetenv(other);
    }
    ~message_directory()
    {
        std::error_code ignored;
        std::filesystem::remove_all(root_, ignored);
    }
    message_directory(const message_directory&) = delete;
    message_directory& operator=(const message_directory&) = delete;

    std::string path_of(const std::string& name) const { return root_ / name; }
    std::string write(const std::string& name, std::string_view bytes) const
    {
        const std::string path = path_of(name);
        std::FILE* const file = std::fopen(path.c_str(), "wbe");
        FUZZ_CHECK(file != nullptr);
        if (!bytes.empty()) FUZZ_CHECK(std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size());
        std::fclose(file);
        return path;
    }

private:
    std::filesystem::path root_;
};

/// Deletes the database of the process, and puts a fresh one in its place.
inline msgDbManager& fresh_database()
{
    delete msgDbManager::findUniqueDbManager();
    msgDbManager::setUniqueDbManager(nullptr);
    msgCache::msgTypeSetPrintable(MSG_ALL, -1);
    return *msgDbManager::initMsgDbManager(nullptr);
}
