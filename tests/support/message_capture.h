// tests/support/message_capture.h: what a test sees of the reports of the library.
#pragma once
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "msgdatabase.h"
#include "platform.h"

/// One report as the message database would get it.
struct post {
    std::string category;  ///< "common", "framework"; "" for text under a seven-digit number
    std::string number;    ///< "0000", "1413", "1009990"; the severity in decimal for a finished line
    std::string module;    ///< of a broken contract, else ""
    std::string text;      ///< of a broken contract and of free text; "" for a catalogued message
    bool operator==(const post&) const = default;
};
std::ostream& operator<<(std::ostream& out, const post& shown);

/// Stands in for the message database and for the end of the process while it lives, and puts back
/// what was there. With it `m_msgFlow` is 1 until `use_legacy_flow` is called.
class message_capture final : public ketriope::message_database {
public:
    message_capture();
    ~message_capture();
    message_capture(const message_capture&) = delete;
    message_capture& operator=(const message_capture&) = delete;

    void use_legacy_flow();
    const std::vector<post>& posts() const { return posts_; }
    post last() const { return posts_.empty() ? post{} : posts_.back(); }
    void clear() { posts_.clear(); }
    /// Runs `work` and gives the value that the process would have ended with; -999 if it did not end.
    int exit_value_of(const std::function<void()>& work);
    const std::vector<std::pair<int, bool>>& type_switches() const { return switches_; }

    void post_contract(const char* module, int line, const char* text) override;
    void post_numbered(const char* category, const char* number, ut_va_list arguments) override;
    void post_text(const char* mid, const char* text) override;
    void post_finished(int severity, const char* text) override;
    void show_types(int severities, bool on) override;

private:
    std::vector<post> posts_;
    std::vector<std::pair<int, bool>> switches_;
    ketriope::message_database* database_before_;
    int flow_before_;
    ketriope::platform::operations operations_;
};

/// What `work` writes to standard output or standard error through C or C++ streams, byte for byte.
std::string stdout_of(const std::function<void()>& work);
std::string stderr_of(const std::function<void()>& work);
