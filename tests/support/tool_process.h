// tests/support/tool_process.h: the companion program, started by a test.
#pragma once
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "child_process.h"

using words = std::vector<std::string>;

/// The program's environment: reports on one line each, the messages of the build tree, and nothing that
/// asks for another form.
inline const child_environment k_plain_environment{
    {"QVS_MSG_WIDTH", "20000"},    {"QVS_M_MSGFLOW", nullptr}, {"NO_COLOR", nullptr},
    {"FOUNDRY", TOOL_FOUNDRY},     {"ENV", nullptr},           {"TOOLRTF", nullptr},
    {"QVS_MSGMGR_FORMAT", nullptr}};

inline child_environment changed(const child_environment& changes)
{
    child_environment environment = k_plain_environment;
    environment.insert(environment.end(), changes.begin(), changes.end());
    return environment;
}

inline child_result tool(const words& arguments, const child_environment& changes = {})
{
    return run_child(TOOL_PROGRAM, arguments, changed(changes));
}

/// The program started by `first`, such as a shell with a script, instead of directly.
inline child_result tool_under(words first, const words& arguments, const child_environment& changes = {})
{
    const std::string starter = first.front();
    first.erase(first.begin());
    first.insert(first.end(), TOOL_PROGRAM);
    first.insert(first.end(), arguments.begin(), arguments.end());
    return run_child(starter, first, changed(changes));
}

/// A directory of the test's own, removed behind it.
class tool_test : public testing::Test {
protected:
    tool_test()
    {
        const testing::TestInfo& info = *testing::UnitTest::GetInstance()->current_test_info();
        const std::string own = std::string(info.test_suite_name()) + '.' + info.name();
        directory_ = std::filesystem::path(std::getenv("TEMP")) / own;
        std::filesystem::remove_all(directory_);
        std::filesystem::create_directories(directory_);
    }
    ~tool_test() override { std::filesystem::remove_all(directory_); }

    std::string path(const std::string& name) const { return (directory_ / name).string(); }

    /// Makes a file with these bytes and returns its path.
    std::string file(const std::string& name, std::string_view content) const
    {
        std::filesystem::create_directories(std::filesystem::path(path(name)).parent_path());
        std::ofstream(path(name), std::ios::binary) << content;
        return path(name);
    }

    std::string script(const std::string& name, const std::string& text) const
    {
        const std::string made = file(name, "#!/bin/sh\n" + text);
        std::filesystem::permissions(made, std::filesystem::perms::owner_all);
        return made;
    }

private:
    std::filesystem::path directory_;
};

inline std::string error(const std::string& text)
{
    return "ERROR - ketriope: " + text + "\n";
}

inline std::string warning(const std::string& text)
{
    return "WARNING - ketriope: " + text + "\n";
}
