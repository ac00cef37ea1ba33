// tests/support/message_sinks.h: what a test hangs on the message database.
#pragma once
#include <functional>
#include <ostream>
#include <streambuf>
#include <string>
#include <vector>

#include "message_capture.h"
#include "utmsgtypes.h"

/// What a call-back was told.
struct told {
    int sid;
    std::string mid;
    int type;
    std::string text;
    std::vector<std::string> dynamic;
    std::vector<std::string> navigation;
    bool operator==(const told&) const = default;
};

/// Call-backs that keep what they are told, and then do what a test asks of them. One at a time.
class told_calls {
public:
    told_calls() { current() = this; }
    ~told_calls() { current() = nullptr; }
    told_calls(const told_calls&) = delete;
    told_calls& operator=(const told_calls&) = delete;

    std::vector<told> calls;
    std::function<void()> then;  ///< run within each call

    static int callback(int sid, const char* mid, eMessage_Type type, std::string& text,
                        std::vector<std::string>& dynamic, std::vector<std::string>& navigation)
    {
        return current()->note({sid, mid, type, text, dynamic, navigation});
    }
    static int post_function(int sid, eMessage_Type type, std::string& text)
    {
        return current()->note({sid, "", type, text, {}, {}});
    }
    static int type_callback(int sid, const char* mid) { return current()->note({sid, mid, 0, "", {}, {}}); }

private:
    static told_calls*& current()
    {
        static told_calls* the_one = nullptr;
        return the_one;
    }
    int note(told call)
    {
        calls.push_back(std::move(call));
        if (then) then();
        return 1;
    }
};

/// A stream that keeps what it gets, and then does what a test asks of it.
class acting_stream : private std::streambuf, public std::ostream {
public:
    acting_stream() : std::ostream(static_cast<std::streambuf*>(this)) {}

    std::string text;
    std::function<void()> then;

private:
    std::streamsize xsputn(const char* from, std::streamsize count) override
    {
        text.append(from, static_cast<std::size_t>(count));
        if (then) then();
        return count;
    }
    int overflow(int c) override
    {
        const char one = static_cast<char>(c);
        xsputn(&one, 1);
        return 0;
    }
};

/// What reaches the two streams of the console.
struct console_text {
    std::string out;
    std::string err;
    bool operator==(const console_text&) const = default;
};

inline console_text console_of(const std::function<void()>& work)
{
    console_text seen;
    seen.out = stdout_of([&] { seen.err = stderr_of(work); });
    return seen;
}

inline std::ostream& operator<<(std::ostream& out, const console_text& shown)
{
    return out << "out \"" << shown.out << "\" err \"" << shown.err << '"';
}
