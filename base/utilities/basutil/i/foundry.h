/// \file i/foundry.h
/// Where the installation of the suite is, and which release it is.
///
/// `FOUNDRY`, or else the older `ZVT_ORLA`, names the root of the installation, or several roots divided
/// by `;`; `MYFPGAPATH` names further ones, which are searched after these. All are read once, when the
/// answer is first needed. The version file and the Tcl paths follow `TOOLRTF` and `FOUNDRY` by rules of
/// their own. "Set" means present in the environment, be it without a value.
/// Threads: no locks; the first call of each kind comes from one thread.
#pragma once
#include "uttypes.h"
#include <string>

namespace ketriope {
struct foundry_access;
}

/// Switches of the process that take their values when `UT_FOUNDRY` is built; 0 before that.
class UT_EXPORT UT_SINGLETON {
public:
    static unsigned char spdup_4_large_design;  ///< 0 if `QVS_NO_LARGE_DESIGN_SPDUP` is set, else 1
    static unsigned char internal_memusage;     ///< 1 if `QVS_SINGLETON_MEMUSAGE` is set, else 0
};

/// The roots of the installation, the same for the whole process.
///
/// A path comes with `/` for every backslash and without white space at its ends. An entry such as `C:`
/// becomes `C:/`, unless the path begins with an empty entry: then none is changed.
class UT_EXPORT UT_FOUNDRY {
public:
    UT_FOUNDRY(const UT_FOUNDRY&) = delete;
    UT_FOUNDRY& operator=(const UT_FOUNDRY&) = delete;
    ~UT_FOUNDRY();

    /// Returns the first root, null if none is named.
    ///
    /// With a `check` other than 0 the root is looked at, once in a process. Nothing is said of one that is
    /// no directory.
    /// Lifetime: the process.
    /// Errors: no root, or one without "data" or "bin" in it, is told to `ut_userfatal` when it is checked.
    static const char* getFoundry(unsigned char check);
    /// The same for all roots, divided by `;`.
    static const char* getAllFoundry(unsigned char check);
    /// The name of the variable that reports speak of: "FOUNDRY".
    static const char* getFoundryEnvName() { return _foundryEnvName; }

private:
    friend struct ketriope::foundry_access;  // tests build it anew

    UT_FOUNDRY();
    static UT_FOUNDRY& instance(unsigned char check);
    static void releaseFoundry();
    unsigned char hasItBeenChecked() const { return checked_; }
    void checkFoundry();

    static UT_FOUNDRY* _foundryObj;
    static const char* const _foundryEnvName;

    char* foundry_ = nullptr;
    char* all_foundry_ = nullptr;  ///< callers keep it, so it is never freed
    unsigned char checked_ = 0;
};

/// The notice that a tool shows about the library: five lines, of the product's own wording.
class UT_EXPORT UT_COPYRIGHT_OBJ {
public:
    /// Returns the one object. Lifetime: it and its texts stay for the process.
    static UT_COPYRIGHT_OBJ* get();

    const char* getC1() const { return c1_; }
    const char* getC2() const { return c2_; }
    const char* getC3() const { return c3_; }
    const char* getC4() const { return c4_; }
    const char* getC5() const { return c5_; }
    /// All five lines, each with a line feed behind it.
    const char* getCAll() const { return all_; }

private:
    UT_COPYRIGHT_OBJ();

    static UT_COPYRIGHT_OBJ* _obj;

    const char* c1_;
    const char* c2_;
    const char* c3_;
    const char* c4_;
    const char* c5_;
    const char* all_;
};

/// The first root, as `UT_FOUNDRY::getFoundry` gives it without a check.
UT_EXPORT const char* ut_getenv_rtf_env_var();
/// The first root, as `UT_FOUNDRY::getFoundry` gives it.
UT_EXPORT const char* ut_getzeocadpath(unsigned char check);

/// Returns the number that the suite knows this kind of system by: 256, and 2048 or 4096 for the kinds of
/// old.
UT_EXPORT long ut_getmachinetype();
/// The name of the platform in paths of the suite: "nt64" everywhere.
UT_EXPORT const char* ut_getbinplatform();

/// Returns the value of `QVS_TEST_MODE`, null if it is not set.
///
/// Ownership: the text is the environment's, and must not be written to.
UT_EXPORT char* ut_istestmode();

/// Sets `out` to the version of the suite, such as "Orlenta Software (64-bit) 3.11.0", and returns its
/// length.
///
/// It is read from "data/orvsys.ini" below `TOOLRTF`, if that is set, or else below `FOUNDRY` or the
/// directory above it; once in a process.
/// Errors: without a file that can be opened it is "Orlenta Software Version 0.0.0".
UT_EXPORT int ut_get_version_information(std::string& out);

/// The path of the Tcl shell below `TOOLRTF`, or else beside `FOUNDRY`; "" if neither is set.
UT_EXPORT std::string ut_getTclShellPath();
/// The same of the Tcl library.
UT_EXPORT std::string ut_getTclLibraryPath();
