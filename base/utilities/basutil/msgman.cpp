// msgman.cpp
#include "msgman.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <utility>

#include "basutform.h"
#include "basutstr.h"
#include "hanging_indent.h"
#include "heap_text.h"
#include "mbytes.h"
#include "msgdatabase.h"
#include "platform.h"
#include "startup.h"
#include "utgetenv.h"
#include "utproduct.h"

using ketriope::heap_text;
using ketriope::mbytes;
using ketriope::message_database;
using ketriope::posted_to_database;
using ketriope::platform::os;

/// What the type of a message decides.
struct UT_MSGMAN::kind {
    const char* label;   ///< null: the text stands alone
    int severity;        ///< the bit that the message database knows it by
    bool about_program;  ///< followed by the INTERNAL CODE and support lines
};

namespace {

constexpr int k_all_severities = 511;

constexpr const char* k_error_mid = "1009990";
constexpr const char* k_warning_mid = "1009991";
constexpr const char* k_info_mid = "1009992";

/// Puts `text` in the place of an owned string, which goes last: `text` may have been made from it.
void replace(char*& owned, char* text)
{
    std::free(std::exchange(owned, text));
}

/// A copy of a site's tag: null counts as "", and a masked tag is copied in plain.
heap_text tag_copy(const char* tag)
{
    return heap_text(ut_strdecode(ut_strdup(tag != nullptr ? tag : "")));
}

/// The number that a revision string such as "$Revision: 1.6 $" carries; other text is its own.
std::string revision_number(const char* text)
{
    constexpr std::string_view k_key = "$Revision:";
    const std::string_view all = text != nullptr ? text : "";
    if (!all.starts_with(k_key)) return std::string(all);
    if (!all.starts_with("$Revision: ")) return "0.0";
    const std::size_t begin = all.find_first_not_of(' ', k_key.size());
    if (begin == std::string_view::npos) return "0.0";
    return std::string(all.substr(begin, all.find(' ', begin) - begin));
}

/// Where a person gets help, in one line.
std::string support_line()
{
    return std::string("For support, contact ") + ketriope::k_vendor + " technical support at " +
           ketriope::k_support_phones + ", or " + ketriope::k_support_mail + ".";
}

void report_peak_memory(const char* when)
{
    if (ut_msgman == nullptr || ut_getenv("INTERNAL_MEMUSAGE") == nullptr) return;
    *ut_msgman << zeoform("PAR peak memory usage before %s: %.3f Mbytes.\n", when,
                          mbytes(os().process_memory().peak));
}

/// Posts `text` under `mid`, or hands it to the member of `ut_msgman` that prints it.
void report(const char* mid, const char* text, void (UT_MSGMAN::*legacy)(const char*, long))
{
    if (posted_to_database([&](message_database& db) { db.post_text(mid, text); })) return;
    if (ut_msgman != nullptr) (ut_msgman->*legacy)(text, 0);
}

}  // namespace

int UT_MSGMAN::m_msgFlow = 1;

UT_MSGMAN::UT_MSGMAN()
{
    if (const char* flow = ut_getenv("QVS_M_MSGFLOW")) m_msgFlow = std::atoi(flow);
    if (const char* text = ut_getenv("QVS_MSG_WIDTH")) {
        const int width = std::atoi(text);
        if (width > width_)
            width_ = static_cast<short>(std::min<int>(width, std::numeric_limits<short>::max()));
    }
}

UT_MSGMAN::~UT_MSGMAN()
{
    for (char* owned : {package_name_, program_name_, module_name_, revision_}) std::free(owned);
}

// ---- the fields that copy their argument

void UT_MSGMAN::setprogname(const char* name)
{
    replace(program_name_, ut_strdup(name));
}

void UT_MSGMAN::setpkgname(const char* name)
{
    replace(package_name_, tag_copy(name).release());
}

void UT_MSGMAN::setmodname(const char* name)
{
    replace(module_name_, tag_copy(name).release());
}

void UT_MSGMAN::setrcsrev(const char* text)
{
    replace(revision_, ut_strdup(revision_number(text).c_str()));
}

void UT_MSGMAN::setSuppressFlag(unsigned char flag)
{
    suppress_ = flag;
    // In both flows: the switches count as soon as the database is in charge.
    if (message_database* db = ketriope::installed_database()) db->show_types(k_all_severities, flag != 1);
}

// ---- a message on its way

void UT_MSGMAN::message(UT_MSGTYPE type, const char* text, const char* pkg, const char* mod, short line,
                        const char* rev, long data)
{
    static constexpr std::array<kind, 7> k_kinds{{
        {"ERROR", 32, false},
        {"WARNING", 4, false},
        {nullptr, 16, false},
        {"DEBUG", 256, false},
        {"ERROR", 128, true},  // a person reads "ERROR" here, too; the lines below tell the rest
        {"ERROR", 64, true},
        {"INFO", 8, false},
    }};
    if (text == nullptr) return;
    type_ = type;
    if (type < 0 || static_cast<std::size_t>(type) >= k_kinds.size()) {
        const std::string unknown = zeoform("Unknown msg type '%d' received for msg '%s'.", int{type}, text);
        take_site(pkg, mod, line, rev, data);
        message(UT_MSG_INTERNAL, unknown.c_str(), "ut", module_name_, 432, revision_, data);
        return;
    }
    const kind& of = k_kinds[static_cast<std::size_t>(type)];
    std::string dialog = labelled(of, text);  // before the fields go, as the text may be one of them
    take_site(pkg, mod, line, rev, data);
    emit(of, dialog);
    if (of.about_program) emit_internal_code(of, dialog);
    if (type != UT_MSG_FATAL && abort_ == 0) return;
    if (ut_getenv("QVS_MSG_NO_DIALOG") == nullptr) os().show_dialog(ketriope::k_vendor, dialog.c_str());
    abort();
    flush();
    ketriope::leave_process(exit_value_);
}

void UT_MSGMAN::take_site(const char* pkg, const char* mod, short line, const char* rev, long data)
{
    heap_text package = tag_copy(pkg);  // all copied before the first field goes: each may be a field
    heap_text module = tag_copy(mod);
    setrcsrev(rev);
    replace(package_name_, package.release());
    replace(module_name_, module.release());
    line_ = line;
    setdata(data);
}

std::string UT_MSGMAN::labelled(const kind& of, const char* text) const
{
    constexpr std::size_t k_usual_label = 40;
    const std::string_view words = text;
    std::string line;
    line.reserve(k_usual_label + words.size());
    if (of.label != nullptr) {
        line.append(of.label).append(" - ");
        if (program_name_ != nullptr) line.append(program_name_).append(": ");
    }
    return line.append(words);
}

void UT_MSGMAN::emit(const kind& of, const std::string& text)
{
    if (!posted_to_database([&](message_database& db) { db.post_finished(of.severity, text.c_str()); }))
        write(text.c_str());
}

/// Writes the second text of a report about the program itself, and completes the dialog's.
void UT_MSGMAN::emit_internal_code(const kind& of, std::string& dialog)
{
    const std::string code = "INTERNAL CODE : " + std::string(package_name_) + ':' + module_name_ + ':' +
                             std::to_string(line_) + ':' + revision_;
    const std::string support = support_line();
    dialog.append("\n").append(code).append("\n\n").append(support);

    struct clean_flag_kept {  // put back on every way out: the database may throw
        unsigned char& flag;
        unsigned char before;
        ~clean_flag_kept() { flag = before; }
    } const kept{clean_, clean_};
    clean_ = 0;  // cleaning would join the two lines
    emit(of, code + "\n" + support);
}

void UT_MSGMAN::write(const char* text)
{
    if (suppress_ != 0) return;
    std::FILE* const out = type_ == UT_MSG_STATUS || type_ == UT_MSG_DEBUG ? stdout : stderr;
    struct folded {
        char** lines = nullptr;
        short count = 0;
        ~folded() { ut_strdelstrings(lines, count); }
    } made;
    made.lines = format(text, &made.count);
    std::string all;  // in one piece, since each write to standard error is a call into the system
    all.reserve(static_cast<std::size_t>(made.count) *
                static_cast<std::size_t>(std::max<short>(width_, 0) + 1));
    for (short i = 0; i < made.count; ++i) all.append(made.lines[i]).append(1, '\n');
    std::fwrite(all.data(), 1, all.size(), out);
    std::fflush(out);
}

char** UT_MSGMAN::format(const char* text, short* count)
{
    std::string line = text;
    if (clean_ != 0)
        ut_strcleanstring(line.data());
    else if (line.ends_with('\n'))
        line.pop_back();
    const short indent = type_ == UT_MSG_STATUS ? short{0} : ketriope::hanging_indent(line);
    return ut_strbreakstring(line.c_str(), width_, count, indent);
}

void UT_MSGMAN::abort()
{
    flush();
    if (ut_getenv("QVS_MSG_ABORT_CORE") != nullptr) os().abort_process();
    if (ut_getenv("QVS_MSG_ABORT_RETURN") != nullptr) return;
    ketriope::leave_process(exit_value_);
}

void UT_MSGMAN::flush()
{
    if (suppress_ != 0) return;
    std::fflush(stdout);
    std::fflush(stderr);
}

// ---- one operation for each type

void UT_MSGMAN::debug(const char* text, long data)
{
    message(UT_MSG_DEBUG, text, nullptr, nullptr, -1, nullptr, data);
}

void UT_MSGMAN::guimsg(const char*, long) {}

void UT_MSGMAN::status(const char* text, long data)
{
    message(UT_MSG_STATUS, text, nullptr, nullptr, -1, nullptr, data);
}

void UT_MSGMAN::info(const char* text, long data)
{
    message(UT_MSG_INFO, text, nullptr, nullptr, -1, nullptr, data);
}

void UT_MSGMAN::error(const char* text, long data)
{
    message(UT_MSG_ERROR, text, nullptr, nullptr, -1, nullptr, data);
    count_report("ERROR: ", text, errors_);
}

void UT_MSGMAN::warning(const char* text, long data)
{
    message(UT_MSG_WARNING, text, nullptr, nullptr, -1, nullptr, data);
    count_report("WARNING: ", text, warnings_);
}

void UT_MSGMAN::count_report(const char* label, const char* text, int& counter)
{
    if (text == nullptr) return;
    const std::string_view kept = text;
    print_buffer_.append(label).append(kept);
    if (!kept.empty() && kept.back() != '\n') print_buffer_ += '\n';
    ++counter;
}

void UT_MSGMAN::internal(const char* text, const char* pkg, const char* mod, short line, const char* rev,
                         long data)
{
    message(UT_MSG_INTERNAL, text, pkg, mod, line, rev, data);
}

void UT_MSGMAN::fatal(const char* text, const char* pkg, const char* mod, short line, const char* rev,
                      int exitValue, long data)
{
    report_peak_memory("fatal exit");
    exit_value_ = exitValue;
    message(UT_MSG_FATAL, text, pkg, mod, line, rev, data);
}

// ---- stream operators: each formats its value and ends in the one for text

UT_MSGMAN& UT_MSGMAN::operator<<(const char* text)
{
    type_ = UT_MSG_STATUS;
    if (suppress_ == 0 && text != nullptr) std::fputs(text, stdout);
    return *this;
}

UT_MSGMAN& UT_MSGMAN::operator<<(std::ostream& (*)(std::ostream&))
{
    *this << '\n';
    flush();
    return *this;
}

UT_MSGMAN& UT_MSGMAN::operator<<(void* value)
{
    return *this << zeoform("%lx", static_cast<unsigned long>(reinterpret_cast<std::uintptr_t>(value)));
}

UT_MSGMAN& UT_MSGMAN::operator<<(unsigned char value)
{
    return *this << zeoform("%c", value);
}

UT_MSGMAN& UT_MSGMAN::operator<<(char value)
{
    return *this << zeoform("%c", value);
}

UT_MSGMAN& UT_MSGMAN::operator<<(ut_uint64 value)
{
    char text[24];  // the engine behind zeoform has no conversion for 64 bits
    std::snprintf(text, sizeof text, "%llu", value);
    return *this << text;
}

UT_MSGMAN& UT_MSGMAN::operator<<(unsigned long value)
{
    return *this << zeoform("%lu", value);
}

UT_MSGMAN& UT_MSGMAN::operator<<(long value)
{
    return *this << zeoform("%ld", value);
}

UT_MSGMAN& UT_MSGMAN::operator<<(unsigned short value)
{
    return *this << zeoform("%u", unsigned{value});
}

UT_MSGMAN& UT_MSGMAN::operator<<(short value)
{
    return *this << zeoform("%d", int{value});
}

UT_MSGMAN& UT_MSGMAN::operator<<(unsigned int value)
{
    return *this << zeoform("%u", value);
}

UT_MSGMAN& UT_MSGMAN::operator<<(int value)
{
    return *this << zeoform("%d", value);
}

// ---- free functions

void ut_error(const char* text)
{
    report(k_error_mid, text, &UT_MSGMAN::error);
}

void ut_warning(const char* text)
{
    report(k_warning_mid, text, &UT_MSGMAN::warning);
}

void ut_info(const char* text)
{
    report(k_info_mid, text, &UT_MSGMAN::info);
}

void ut_status(const char* text)
{
    ut_msgman->status(text, 0);
}

void ut_guimsg(const char* text)
{
    ut_msgman->guimsg(text, 0);
}

void ut_userfatal(const char* text)
{
    ut_msgman->setabortflag(1);
    ut_error(text);
    ut_msgman->abort();
}

void ut_userfatal(const char* text, int exitValue)
{
    report_peak_memory("user fatal exit");
    ut_error(text);
    ut_msgman->setexitval(exitValue);
    ut_msgman->abort();
}

void ut_report_memory_usage()
{
    const auto use = os().process_memory();
    *ut_msgman << zeoform("Current memory %.3f Mbytes/peak memory %.3f Mbytes", mbytes(use.current),
                          mbytes(use.peak))
               << std::endl;
}

void ut_dumpmem(const char* label)
{
    static constinit int level = -1;
    if (level == -1) {
        const char* const asked = ut_getenv("INTERNAL_MEMUSAGE");
        level = asked != nullptr ? std::atoi(asked) : 0;
        if (level < 2) level = 0;
    }
    if (level == 0 || label == nullptr) return;
    const std::string bytes = std::to_string(os().process_memory().current);
    *ut_msgman << zeoform("memory check point -- %s: %s bytes.\n", label, bytes.c_str());
}

void ut_c_status(const char* text)
{
    ut_msgman->status(text, 0);
}

void ut_c_warning(const char* text)
{
    ut_msgman->warning(text, 0);
}

void ut_c_error(const char* text)
{
    ut_msgman->error(text, 0);
}

void ut_c_userfatal(const char* text)
{
    ut_msgman->error(text, 0);
    ut_msgman->abort();
}

void ut_c_debugfn() {}
