/// \file i/environment.h
/// The environment as strings: installation, version, variables, clocks, memory, user and host.
///
/// The answers come from caches of the process, so each fact is asked of the system once. A text is stored
/// in the caller's string, and its characters are returned as well, good until that string changes.
/// The installation is found here by other rules than those of `UT_FOUNDRY`.
/// Threads: the caches have a lock; an object, whose timer is its own, belongs to one thread at a time.
#pragma once
#include "uttypes.h"
#include <cstddef>
#include <memory>
#include <string>

class UT_EXPORT dl_Environment {
public:
    dl_Environment() noexcept;
    dl_Environment(const dl_Environment&) = delete;
    dl_Environment& operator=(const dl_Environment&) = delete;
    ~dl_Environment();

    /// `findFoundry()` and "/../", as it was at the first call in the process. Lifetime: the process.
    const char* findInstallationRoot();
    /// The value of `FOUNDRY`; without one the directory that holds the "bin" of the program's path, where
    /// that path has a `/` and a `\` in a row behind the "bin", or else "./".
    ///
    /// Lifetime: the process; an empty answer is looked for again at each call.
    const char* findFoundry();

    /// Returns the version of the suite, such as "Zirvane (64-bit) 3.11.0".
    const char* findVersion(std::string& out);
    /// Sets the parts of the version from "data/orvsys.ini" in `findFoundry()`, or else in
    /// `findInstallationRoot()`; the file is read once in a process. Returns 1.
    ///
    /// Errors: "0.0" for each of the first three that the file does not tell, "" for the patch.
    int findVersion(std::string& major, std::string& minor, std::string& build, std::string& patch);

    /// The value that the variable `name` had when it was first asked for here; null if it was not set.
    ///
    /// Lifetime: the process.
    const char* findEnvSetting(const char* name);

    /// Processor time since the timer was started, and now started if it was not. Returns the sum.
    /// Units: seconds.
    float findCPUsage(float& user, float& system);
    /// Starts the timer, from zero if it runs already.
    void startTimer();
    void stopTimer();
    /// Tells the time since the timer was started; zeros if it does not run. Units: seconds.
    void markTimer(unsigned long& wall, float& user, float& system);

    /// Formats the time of now as `strftime` does, in the words of the "C" locale; a null `format` is
    /// "%a %b %d %X %Y". Errors: "" for a text of 1024 bytes or more.
    const char* findLocalTime(std::string& out, const char* format);
    /// The same of universal time.
    const char* findGMTTime(std::string& out, const char* format);

    /// The memory of the process. Units: bytes divided by 1024 to the power `unit`.
    float findMemoryUsage(int unit);
    float findPeakMemoryUsage(int unit);

    /// The name of the account; "user" if the system knows none.
    const char* findUserName(std::string& out);
    /// The home directory of the account; "c:" if the system knows none.
    const char* findUserHome(std::string& out);
    /// The name of this machine; "Localhost" if the system does not tell.
    const char* findHostName(std::string& out);
    /// The number of the account; -1 if the system knows none.
    long findUserID();

    /// Formats as the runtime's `printf` does in the "C" locale. An argument may be the text of `out`.
    ///
    /// Errors: a text of 1024 bytes or more is told on standard error, and the `int` -1 is thrown.
    UT_PRINTF_LIKE(3, 4) const char* format(std::string& out, const char* format, ...);

    /// Blocks are kept for the next object of the class, and never go back to the heap.
    static void* operator new(std::size_t size);
    static void* operator new(std::size_t, void* place) noexcept { return place; }
    static void operator delete(void* object, std::size_t size) noexcept;
    static void operator delete(void*, void*) noexcept {}

private:
    class timer;
    timer& running_timer();

    std::unique_ptr<timer> timer_;
};
