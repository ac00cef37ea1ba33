// bench/message_catalogue.h: a message database on files of a benchmark's own.
#pragma once
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include <unistd.h>

#include "utmsgmanager.h"

inline constexpr const char* k_template = "Net $$s has $$d loads and no driver.";
inline constexpr const char* k_category = "bench";

/// While one lives, the database of the process is a fresh one, with the messages 0001 to `count` of the
/// category "bench", all of them warnings with two arguments.
class message_catalogue {
public:
    explicit message_catalogue(int count)
        : root_(std::filesystem::temp_directory_path() / ("message_catalogue." + std::to_string(::getpid())))
    {
        std::filesystem::create_directories(root_ / "msgdata");
        std::ofstream(index_path()) << "<?xml version=\"1.0\"?>\n<messageIndexFile>\n"
                                       "  <msgFile name=\"bench\" fid=\"500\" />\n</messageIndexFile>\n";
        std::ofstream file(messages_path());
        file << "<?xml version=\"1.0\"?>\n<messageFile name=\"bench\" fid=\"500\">\n<messages>\n";
        for (int i = 1; i <= count; ++i)
            file << "  <msg uid=\"" << number(i) << "\" type=\"Warning\" level=\"2\" text=\"" << k_template
                 << "\">\n    <help web=\"m" << i << ".html\" online=\"m" << i << "\" />\n  </msg>\n";
        file << "</messages>\n</messageFile>\n";
        file.close();
        ::setenv("FOUNDRY", root_.c_str(), 1);
        restart();
    }
    ~message_catalogue()
    {
        delete msgDbManager::findUniqueDbManager();
        msgDbManager::setUniqueDbManager(nullptr);
        std::filesystem::remove_all(root_);
    }
    message_catalogue(const message_catalogue&) = delete;
    message_catalogue& operator=(const message_catalogue&) = delete;

    /// Forgets all that was loaded and posted.
    static void restart()
    {
        delete msgDbManager::findUniqueDbManager();
        msgDbManager::setUniqueDbManager(new msgDbManager);
    }

    static std::string number(int message)
    {
        const std::string digits = std::to_string(message);
        return std::string(4 - digits.size(), '0') + digits;
    }
    std::string index_path() const { return root_ / "msgdata/msgindex.xml"; }
    std::string messages_path() const { return root_ / "msgdata/bench.xml"; }

private:
    std::filesystem::path root_;
};

/// For posts that go to files alone: the tool shows them in its own way.
inline int shown_by_tool(int, eMessage_Type, std::string&)
{
    return 0;
}
