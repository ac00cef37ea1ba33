// environment.cpp
#include "environment.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <map>
#include <mutex>
#include <optional>
#include <string_view>
#include <utility>

#include "basutsmallmutex.h"
#include "basutstr.h"
#include "free_list.h"
#include "msgterminate.h"
#include "platform.h"
#include "utproduct.h"
#include "version_file.h"

using ketriope::platform::os;

namespace {

constexpr std::size_t k_text = 1024;  ///< room for a formatted text with its terminator

constinit ketriope::free_list objects{sizeof(dl_Environment)};
constinit ketriope::small_mutex cache_lock;

/// What the process has asked the system for.
struct answers {
    std::string foundry;
    std::optional<std::string> installation_root;
    std::optional<ketriope::version_numbers> version;
    std::map<std::string, const char*, std::less<>> settings;  ///< null for a variable that was not set
    std::optional<ketriope::platform::account> account;
    std::optional<std::string> host;
};

/// The caches, for one thread at a time.
class caches {
public:
    answers* operator->() const
    {
        static answers& all = *new answers;  // never destroyed: the texts given out stay
        return &all;
    }

private:
    std::lock_guard<ketriope::small_mutex> held_{cache_lock};
};

const char* stored(std::string& out, std::string_view text)
{
    out = text;
    return out.c_str();
}

/// The installation that the program itself lies in, if its path shows one, else the directory here.
///
/// The one pattern looked for has both kinds of separator, so a path of one kind alone gives the latter.
std::string root_of_program()
{
    std::string path;
    os().program_path(path);
    const std::size_t separators = path.rfind("/\\");
    if (separators == std::string::npos) return "./";
    const std::size_t bin = path.rfind("bin", separators);
    if (bin == std::string::npos) return "./";
    path.resize(bin);
    return path;
}

/// Errors: false if the file cannot be opened.
bool read_file(const std::string& name, std::string& content)
{
    const int descriptor = os().open(name.c_str(), ketriope::platform::open_read);
    if (descriptor < 0) return false;
    char piece[4096];
    std::int64_t count = 0;
    while ((count = os().read(descriptor, piece, sizeof piece)) > 0)
        content.append(piece, static_cast<std::size_t>(count));
    os().close(descriptor);
    return true;
}

const ketriope::platform::account& own_account()
{
    const caches known;
    if (!known->account) {
        ketriope::platform::account found;
        if (!os().user_account(found)) found = {"user", "", -1};
        if (found.home.empty()) found.home = "c:";
        known->account = std::move(found);
    }
    return *known->account;
}

/// `when` broken down by `to_fields`, and formatted.
const char* format_now(std::string& out, const char* format, bool (*to_fields)(std::int64_t, std::tm&))
{
    std::tm fields{};
    char text[k_text] = "";
    if (!to_fields(os().wall_clock(), fields)) return stored(out, "");
    const char* const wanted = format != nullptr ? format : "%a %b %d %X %Y";
    return stored(out, {text, os().format_time(text, sizeof text, wanted, fields)});
}

float scaled(std::uint64_t bytes, int unit)
{
    constexpr int k_bits = 10;      // a step of the unit is a factor of 1024
    constexpr int k_furthest = 32;  // beyond it nothing but 0 or infinity is left
    return std::scalbn(static_cast<float>(bytes), -k_bits * std::clamp(unit, -k_furthest, k_furthest));
}

}  // namespace

// ---- the timer

/// The clocks as they were at its start.
class dl_Environment::timer {
public:
    timer() { restart(); }

    void restart()
    {
        now(user_, system_);
        wall_ = os().wall_clock();
    }

    void elapsed(float& user, float& system) const
    {
        now(user, system);
        user -= user_;
        system -= system_;
    }

    unsigned long elapsed_wall() const
    {
        return static_cast<unsigned long>(std::max<std::int64_t>(os().wall_clock() - wall_, 0));
    }

private:
    static float seconds(std::int64_t microseconds)
    {
        return static_cast<float>(static_cast<double>(microseconds) / 1e6);
    }

    static void now(float& user, float& system)
    {
        ketriope::platform::cpu_times times;
        os().process_times(times);
        user = seconds(times.user);
        system = seconds(times.system);
    }

    float user_ = 0;
    float system_ = 0;
    std::int64_t wall_ = 0;
};

dl_Environment::dl_Environment() noexcept = default;
dl_Environment::~dl_Environment() = default;

dl_Environment::timer& dl_Environment::running_timer()
{
    if (timer_ == nullptr) timer_ = std::make_unique<timer>();
    return *timer_;
}

float dl_Environment::findCPUsage(float& user, float& system)
{
    running_timer().elapsed(user, system);
    return user + system;
}

void dl_Environment::startTimer()
{
    running_timer().restart();
}

void dl_Environment::stopTimer()
{
    timer_.reset();
}

void dl_Environment::markTimer(unsigned long& wall, float& user, float& system)
{
    wall = 0;
    user = 0;
    system = 0;
    if (timer_ == nullptr) return;
    wall = timer_->elapsed_wall();
    timer_->elapsed(user, system);
}

// ---- installation and version

const char* dl_Environment::findFoundry()
{
    const caches known;
    if (known->foundry.empty()) {
        const char* const named = findEnvSetting("FOUNDRY");
        known->foundry = named != nullptr ? named : root_of_program();
    }
    return known->foundry.c_str();
}

const char* dl_Environment::findInstallationRoot()
{
    const caches known;
    if (!known->installation_root) known->installation_root = std::string(findFoundry()) + "/../";
    return known->installation_root->c_str();
}

int dl_Environment::findVersion(std::string& major, std::string& minor, std::string& build,
                                std::string& patch)
{
    const caches known;
    if (!known->version) {
        std::string content;
        if (!read_file(ketriope::version_file_below(findFoundry()), content))
            read_file(ketriope::version_file_below(findInstallationRoot()), content);
        known->version = ketriope::read_version_lines(content);
    }
    const auto number = [](const std::optional<std::string>& value) {
        return value && !value->empty() ? *value : "0.0";
    };
    major = number(known->version->major);
    minor = number(known->version->minor);
    build = number(known->version->build);
    patch = known->version->patch.value_or("");
    return 1;
}

const char* dl_Environment::findVersion(std::string& out)
{
    std::string major;
    std::string minor;
    std::string build;
    std::string patch;
    findVersion(major, minor, build, patch);
    out = std::string(ketriope::k_tools) + " (64-bit) " + major + '.' + minor + '.' + build;
    if (!patch.empty()) out += "  Patch Version(s) " + patch;
    return out.c_str();
}

// ---- variables, clocks, memory

const char* dl_Environment::findEnvSetting(const char* name)
{
    if (name == nullptr) return nullptr;
    const caches known;
    const auto found = known->settings.find(name);
    if (found != known->settings.end()) return found->second;
    const char* const value = ut_strdup(os().environment(name));
    known->settings.emplace(name, value);
    return value;
}

const char* dl_Environment::findLocalTime(std::string& out, const char* format)
{
    return format_now(out, format, os().local_time);
}

const char* dl_Environment::findGMTTime(std::string& out, const char* format)
{
    return format_now(out, format, os().utc_time);
}

float dl_Environment::findMemoryUsage(int unit)
{
    return scaled(os().process_memory().current, unit);
}

float dl_Environment::findPeakMemoryUsage(int unit)
{
    return scaled(os().process_memory().peak, unit);
}

// ---- account and host

const char* dl_Environment::findUserName(std::string& out)
{
    return stored(out, own_account().name);
}

const char* dl_Environment::findUserHome(std::string& out)
{
    return stored(out, own_account().home);
}

long dl_Environment::findUserID()
{
    return own_account().id;
}

const char* dl_Environment::findHostName(std::string& out)
{
    const caches known;
    if (!known->host) {
        std::string name;
        known->host = os().host_name(name) ? name : "Localhost";
    }
    return stored(out, *known->host);
}

// ---- text

const char* dl_Environment::format(std::string& out, const char* format, ...)
{
    char text[k_text] = "";
    ut_va_list arguments;
    va_start(arguments, format);
    const int length = os().format_list(text, sizeof text, format, arguments);
    va_end(arguments);
    if (length >= static_cast<int>(sizeof text)) {
        std::fputs(" data size overflow\n", stderr);
        msg_throw(-1);
    }
    return stored(out, text);
}

void* dl_Environment::operator new(std::size_t size)
{
    return objects.take(size);
}

void dl_Environment::operator delete(void* object, std::size_t size) noexcept
{
    objects.give(object, size);
}
