// msgstr.cpp
#include "msgstr.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <string_view>
#include <utility>

#include "basutstr.h"
#include "basutstream.h"
#include "contract.h"
#include "utmsgmanager.h"

namespace {

constexpr ketriope::site k_bad_list{.module = "msgstr"};
constexpr ketriope::site k_unknown_stream{.module = "msgstr", .revision = "$Revision: 1.6 $", .line = 119};

constexpr std::size_t k_entry = sizeof(void*);  ///< bytes of one in a list

/// A list with room for one entry.
template <class Stream>
Stream** new_list()
{
    void* const made = std::malloc(k_entry);
    if (made == nullptr) throw std::bad_alloc();
    return static_cast<Stream**>(made);
}

template <class Stream>
void append(Stream**& list, short& count, Stream& stream)
{
    if (count == std::numeric_limits<short>::max())
        return ketriope::contract_failed(k_bad_list, "Too many message streams.");
    const auto place = static_cast<std::size_t>(count);
    void* const grown = std::realloc(list, (place + 1) * k_entry);
    if (grown == nullptr) return ketriope::contract_failed(k_bad_list, "Out of memory for a message stream.");
    list = static_cast<Stream**>(grown);
    list[place] = &stream;
    ++count;
}

template <class Stream>
bool holds(Stream* const* list, short count, const Stream& stream)
{
    return std::find(list, list + count, &stream) != list + count;
}

/// Takes the first entry of `stream` off, and closes the gap. False if there is none.
template <class Stream>
bool take_off(Stream** list, short& count, const Stream& stream)
{
    Stream** const end = list + count;
    Stream** const found = std::find(list, end, &stream);
    if (found == end) return false;
    std::copy(found + 1, end, found);
    --count;
    return true;
}

/// Uses each stream of a list, which may change meanwhile. One that fails does no harm to the others.
template <class Stream, class Use>
void serve(Stream** const& list, const short& count, Use use)
{
    for (short i = 0; i < count; ++i) {
        try {
            use(*list[i]);
        } catch (...) {  // a log must not end a run
        }
    }
}

/// `use` for the streams that take messages.
template <class Use>
auto unless_suspended(Use use)
{
    return [use](UT_STREAM& stream) {
        if (stream.stackPos() == 0) use(stream);
    };
}

/// True while this thread serves streams: a stream that fails reports it, and would be served with that
/// report again.
thread_local constinit bool serving = false;

/// Puts another value into a flag, and the former one back on every way out.
template <class Flag>
class flag_set {
public:
    explicit flag_set(Flag& flag) : flag_(flag), before_(flag) { flag = Flag{1}; }
    ~flag_set() { flag_ = before_; }
    flag_set(const flag_set&) = delete;
    flag_set& operator=(const flag_set&) = delete;

private:
    Flag& flag_;
    Flag before_;
};

}  // namespace

constinit UT_MSGSTR* UT_MSGSTR::instance = nullptr;

UT_MSGSTR* UT_MSGSTR::getInstance()
{
    if (instance == nullptr) instance = new UT_MSGSTR;
    return instance;
}

UT_MSGSTR::UT_MSGSTR() : ostreams_(new_list<std::ostream>()), streams_(new_list<UT_STREAM>()) {}

UT_MSGSTR::~UT_MSGSTR()
{
    std::free(ostreams_);
    std::free(streams_);
}

// ---- output

void UT_MSGSTR::write(const char* text)
{
    if (getSuppressFlag() != 0) return;
    const bool raw = std::exchange(raw_, 0) != 0;  // what is reported from within is a message again
    if (serving) {                                 // to the console, so that it is not lost
        if (raw)
            UT_MSGMAN::operator<<(text);
        else
            UT_MSGMAN::write(text);
        return;
    }
    const flag_set now(serving);
    if (raw) {
        const std::string_view all = text;
        serve(ostreams_, ostream_count_, [all](std::ostream& stream) {
            stream.write(all.data(), static_cast<std::streamsize>(all.size()));
        });
        serve(streams_, stream_count_, unless_suspended([text](UT_STREAM& stream) { stream << text; }));
        return;
    }
    write_lines(text);
}

void UT_MSGSTR::write_lines(const char* text)
{
    struct folded {
        short count = 0;
        char** lines = nullptr;
        ~folded() { ut_strdelstrings(lines, count); }
        char** begin() const { return lines; }
        char** end() const { return lines + count; }
    } line_list;
    line_list.lines = format(text, &line_list.count);
    serve(ostreams_, ostream_count_, [&](std::ostream& stream) {
        for (const char* line : line_list)
            stream.write(line, static_cast<std::streamsize>(std::strlen(line))).put('\n');
    });
    serve(streams_, stream_count_, unless_suspended([&](UT_STREAM& stream) {
              for (const char* line : line_list) stream.writeline(line);
          }));
}

void UT_MSGSTR::flush()
{
    serve(ostreams_, ostream_count_, [](std::ostream& stream) { stream.flush(); });
    serve(streams_, stream_count_, unless_suspended([](UT_STREAM& stream) { stream.flush(); }));
}

UT_MSGMAN& UT_MSGSTR::operator<<(const char* text)
{
    setmsgtype(UT_MSG_STATUS);
    if (text == nullptr) return *this;
    const flag_set as_it_is(raw_);
    write(text);
    return *this;
}

// ---- the lists

void UT_MSGSTR::saveStatus()
{
    serve(streams_, stream_count_, [](UT_STREAM& stream) { stream.push(); });
}

void UT_MSGSTR::restoreStatus()
{
    serve(streams_, stream_count_, [](UT_STREAM& stream) { stream.pop(); });
}

void UT_MSGSTR::addstream(UT_STREAM& stream)
{
    append(streams_, stream_count_, stream);
    msgManager().addUTstream(&stream);
}

void UT_MSGSTR::addstream(std::ostream& stream)
{
    if (holds(ostreams_, ostream_count_, stream)) return;
    append(ostreams_, ostream_count_, stream);
    msgManager().addstream(stream);
}

void UT_MSGSTR::delstream(UT_STREAM& stream)
{
    take_off(streams_, stream_count_, stream);
    msgManager().delUTstream(&stream);
}

void UT_MSGSTR::delstream(std::ostream& stream)
{
    const bool known = take_off(ostreams_, ostream_count_, stream);
    msgManager().delstream(stream);
    if (!known) ketriope::internal_report(k_unknown_stream, "Unable to delete requested message stream.");
}

void UT_MSGSTR::setclean(unsigned char flag)
{
    UT_MSGMAN::setclean(flag);
}
