// tests/foundry_test.cpp
#include "foundry.h"

#include <array>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "child_process.h"
#include "message_capture.h"
#include "msgman.h"
#include "scoped_environment.h"
#include "scoped_operations.h"
#include "temp_directory.h"

/// The way to the one object: it is made anew for each test.
struct ketriope::foundry_access {
    static void release()
    {
        // What `release` leaves behind on purpose, for the leak checker to find.
        static std::vector<char*>& left = *new std::vector<char*>;
        if (UT_FOUNDRY::_foundryObj == nullptr) return;
        left.push_back(UT_FOUNDRY::_foundryObj->all_foundry_);
        UT_FOUNDRY::releaseFoundry();
    }
    static bool is_built() { return UT_FOUNDRY::_foundryObj != nullptr; }
    static bool is_checked() { return UT_FOUNDRY::_foundryObj->hasItBeenChecked() != 0; }
};
using ketriope::foundry_access;

namespace {

constexpr const char* k_root = "FOUNDRY";
constexpr const char* k_older_root = "ZVT_ORLA";
constexpr const char* k_further_root = "MYFPGAPATH";
constexpr const char* k_tools = "TOOLRTF";

std::string text_or_null(const char* text)
{
    return text != nullptr ? text : "(null)";
}

/// Starts without any of the variables, and without the object.
class Foundry : public testing::Test {
protected:
    Foundry() { foundry_access::release(); }
    ~Foundry() override { foundry_access::release(); }

    /// Sets a variable until the end of the test.
    static void set(const char* name, const char* value) { ::setenv(name, value, 1); }
    static std::string first() { return text_or_null(UT_FOUNDRY::getFoundry(0)); }
    static std::string all() { return text_or_null(UT_FOUNDRY::getAllFoundry(0)); }
    static std::string diagnosis()
    {
        set("QVS_FOUNDRY_DIAG", "");
        return stdout_of([] { UT_FOUNDRY::getFoundry(0); });
    }

private:
    std::array<scoped_environment, 10> unset_{{{k_root, nullptr},
                                               {k_older_root, nullptr},
                                               {k_further_root, nullptr},
                                               {k_tools, nullptr},
                                               {"QVS_NO_LARGE_DESIGN_SPDUP", nullptr},
                                               {"QVS_SINGLETON_MEMUSAGE", nullptr},
                                               {"QVS_FOUNDRY_DIAG", nullptr},
                                               {"QVS_FOUNDRY_CODE", nullptr},
                                               {"QVS_TEST_MODE", nullptr},
                                               {"QVS_INI_PATH", nullptr}}};
};

// ---- the search path

struct path_row {
    const char* root;  ///< null: not set
    const char* older;
    const char* further;
    const char* first;
    const char* all;
};

TEST_F(Foundry, MakesOnePathOfTheVariables)
{
    constexpr const char* k_none = "(null)";
    const path_row rows[] = {
        {nullptr, nullptr, nullptr, k_none, k_none},
        {"/a", nullptr, nullptr, "/a", "/a"},
        {"/a;/b;/c", nullptr, nullptr, "/a", "/a;/b;/c"},
        // the first that is set wins, without a value too
        {"/a", "/z", nullptr, "/a", "/a"},
        {nullptr, "/z", nullptr, "/z", "/z"},
        {"", "/z", nullptr, k_none, k_none},
        {" \t", "/z", nullptr, k_none, k_none},
        {"", "/z", "/b", "/b", "/b"},
        // further roots
        {nullptr, nullptr, "/b;/c", "/b", "/b;/c"},
        {"/a", nullptr, " /b ", "/a", "/a;/b"},
        {nullptr, "/z", "/b", "/z", "/z;/b"},
        {"/a", nullptr, "", "/a", "/a"},
        {"/a", nullptr, " \r\n", "/a", "/a"},
        {"/a;", nullptr, "/b", "/a", "/a;;/b"},
        {"", nullptr, "", k_none, k_none},
        // white space at the ends, of the five kinds alone
        {" \t\b\n\r/a b\r\n\b\t ", nullptr, nullptr, "/a b", "/a b"},
        {"\v/a\f", nullptr, nullptr, "\v/a\f", "\v/a\f"},
        {"/a ; /b", nullptr, nullptr, "/a ", "/a ; /b"},
        // separators, and drives without a directory
        {"C:\\a;D:", nullptr, nullptr, "C:/a", "C:/a;D:/"},
        {"C:", nullptr, nullptr, "C:/", "C:/"},
        {"C:;", nullptr, nullptr, "C:/", "C:/;"},
        {"C:;D:;E:\\e;F:", nullptr, nullptr, "C:/", "C:/;D:/;E:/e;F:/"},
        {"C:;;D:", nullptr, nullptr, "C:/", "C:/;;D:/"},
        {";C:\\a", nullptr, nullptr, "", ";C:/a"},
        {";C:;D:", nullptr, nullptr, "", ";C:;D:"},
        {"C:", nullptr, "D:", "C:/", "C:/;D:/"},
        {"\\\\host\\Share", nullptr, nullptr, "//host/Share", "//host/Share"},
        {"/a:/b", nullptr, nullptr, "/a:/b", "/a:/b"},
        {":", nullptr, nullptr, ":/", ":/"},
        {";", nullptr, nullptr, "", ";"},
    };
    for (const path_row& row : rows) {
        const scoped_environment root(k_root, row.root);
        const scoped_environment older(k_older_root, row.older);
        const scoped_environment further(k_further_root, row.further);
        foundry_access::release();
        EXPECT_EQ(first(), row.first) << text_or_null(row.root) << ' ' << text_or_null(row.further);
        EXPECT_EQ(all(), row.all) << text_or_null(row.root) << ' ' << text_or_null(row.further);
    }
}

TEST_F(Foundry, TheEnvironmentIsReadOnce)
{
    set(k_root, "/a");
    const char* const before = UT_FOUNDRY::getFoundry(0);
    set(k_root, "/b");
    EXPECT_EQ(UT_FOUNDRY::getFoundry(0), before);
    EXPECT_EQ(all(), "/a");
    foundry_access::release();
    EXPECT_FALSE(foundry_access::is_built());
    EXPECT_EQ(first(), "/b");
}

TEST_F(Foundry, TheFreeFunctionsGiveTheFirstRoot)
{
    set(k_root, "/a;/b");
    EXPECT_STREQ(ut_getenv_rtf_env_var(), "/a");
    EXPECT_FALSE(foundry_access::is_checked());
    EXPECT_STREQ(ut_getzeocadpath(0), "/a");
    EXPECT_FALSE(foundry_access::is_checked());
    EXPECT_STREQ(ut_getzeocadpath(1), "/a");
    EXPECT_TRUE(foundry_access::is_checked());
    EXPECT_STREQ(UT_FOUNDRY::getFoundryEnvName(), "FOUNDRY");
}

// ---- the switches and the diagnosis

TEST_F(Foundry, TheSwitchesTakeTheirValuesWhenItIsBuilt)
{
    UT_FOUNDRY::getFoundry(0);
    EXPECT_EQ(UT_SINGLETON::spdup_4_large_design, 1);
    EXPECT_EQ(UT_SINGLETON::internal_memusage, 0);
    set("QVS_NO_LARGE_DESIGN_SPDUP", "");
    set("QVS_SINGLETON_MEMUSAGE", "");
    UT_FOUNDRY::getFoundry(0);
    EXPECT_EQ(UT_SINGLETON::spdup_4_large_design, 1);
    EXPECT_EQ(UT_SINGLETON::internal_memusage, 0);
    foundry_access::release();
    EXPECT_EQ(stdout_of([] { UT_FOUNDRY::getFoundry(0); }), "Running disable large design spdup version!\n");
    EXPECT_EQ(UT_SINGLETON::spdup_4_large_design, 0);
    EXPECT_EQ(UT_SINGLETON::internal_memusage, 1);
}

TEST_F(Foundry, TellsNothingUnasked)
{
    set(k_root, "/a");
    set("QVS_FOUNDRY_CODE", "");
    EXPECT_EQ(stdout_of([] { UT_FOUNDRY::getFoundry(0); }), "");
}

TEST_F(Foundry, TheDiagnosisNamesTheVariableThatWasUsed)
{
    set(k_root, "\\a;C:");
    EXPECT_EQ(diagnosis(), "FOUNDRY is </a> we used \n"
                           "FOUNDRY environment variable to find it. Code 00000080-qvs_0_0.ini\n");
}

TEST_F(Foundry, TheDiagnosisNamesTheOlderVariable)
{
    set(k_older_root, "/z");
    EXPECT_EQ(diagnosis(), "FOUNDRY is </z> we used \n"
                           "ZVT_ORLA environment variable to find it. Code 00000100-qvs_0_0.ini\n");
}

TEST_F(Foundry, TheDiagnosisTellsOfFurtherRoots)
{
    set(k_root, "/a");
    set(k_further_root, " \\b;D: ");
    EXPECT_EQ(diagnosis(), "FOUNDRY is </a> we used \n"
                           "FOUNDRY environment variable to find it. Code 00000080-qvs_0_0.ini\n"
                           "Search path also includes <\\b;D:>, we used \n"
                           "MYFPGAPATH environment variable to find it.\n");
}

TEST_F(Foundry, TheDiagnosisKnowsNoNameForFurtherRootsAlone)
{
    set(k_further_root, "/b");
    set("QVS_INI_PATH", "/ini");
    EXPECT_EQ(diagnosis(), "FOUNDRY is </b> we used \n"
                           "??? environment variable to find it. Code 00000000-qvs_0_0.ini\n"
                           "Search path also includes </b>, we used \n"
                           "MYFPGAPATH environment variable to find it.\n");
}

TEST_F(Foundry, TheCodeHasABitForItsSwitch)
{
    set(k_root, "");
    set(k_further_root, "/b");
    set("QVS_FOUNDRY_CODE", "");
    EXPECT_EQ(diagnosis(), "FOUNDRY is </b> we used \n"
                           "FOUNDRY environment variable to find it. Code 00000081-qvs_0_0.ini\n"
                           "Search path also includes </b>, we used \n"
                           "MYFPGAPATH environment variable to find it.\n");
}

TEST_F(Foundry, AnEmptyPathIsNotDiagnosed)
{
    set(k_root, " ");
    EXPECT_EQ(diagnosis(), "");
}

// ---- the check

/// With a directory, and the reports captured; puts back what a user-fatal report changes.
class FoundryCheck : public Foundry {
protected:
    ~FoundryCheck() override
    {
        ut_msgman->setabortflag(0);
        ut_msgman->setexitval(-1);
    }

    static void make(const std::string& directory) { std::filesystem::create_directories(directory); }
    static void check() { UT_FOUNDRY::getFoundry(1); }
    std::vector<std::string> reports() const
    {
        std::vector<std::string> texts;
        for (const post& report : capture.posts()) {
            EXPECT_EQ(report.number, "1009990");
            texts.push_back(report.text);
        }
        return texts;
    }

    temp_directory place;
    message_capture capture;
};

using texts = std::vector<std::string>;

TEST_F(FoundryCheck, ReportsThatNoRootIsNamed)
{
    EXPECT_EQ(capture.exit_value_of(check), -1);
    EXPECT_EQ(reports(), texts{"The FOUNDRY environment variable is not set."});
    EXPECT_TRUE(foundry_access::is_checked());
    EXPECT_EQ(capture.exit_value_of(check), -999);  // once
    EXPECT_EQ(capture.exit_value_of([] { UT_FOUNDRY::getAllFoundry(1); }), -999);
}

TEST_F(FoundryCheck, ReportsTheLegacyWayToo)
{
    capture.use_legacy_flow();
    std::string err;
    EXPECT_EQ(capture.exit_value_of([&] {
        try {
            err = stderr_of(check);
        } catch (...) {
            err = testing::internal::GetCapturedStderr();
            throw;
        }
    }),
              -1);
    EXPECT_EQ(err, "ERROR - The FOUNDRY environment variable is not set.\n");
}

TEST_F(FoundryCheck, NamesTheFirstVariableWhateverWasUsed)
{
    set(k_older_root, place.path().c_str());
    EXPECT_EQ(capture.exit_value_of(check), -1);
    EXPECT_EQ(reports(), texts{"The specified FOUNDRY directory does not contain a \"data\" subdirectory. "
                               "Current setting is FOUNDRY=\"" +
                               place.path() + "\""});
}

TEST_F(FoundryCheck, ReportsAMissingBin)
{
    make(place / "data");
    set(k_root, place.path().c_str());
    EXPECT_EQ(capture.exit_value_of([] { UT_FOUNDRY::getAllFoundry(1); }), -1);
    EXPECT_EQ(reports(), texts{"The specified FOUNDRY directory does not contain a \"bin\" subdirectory. "
                               "Current setting is FOUNDRY=\"" +
                               place.path() + "\""});
}

TEST_F(FoundryCheck, IsContentWithBothSubdirectories)
{
    make(place / "data");
    write_file(place / "bin", "");  // existence counts
    set(k_root, (place.path() + ";/nowhere").c_str());
    EXPECT_EQ(capture.exit_value_of(check), -999);
    EXPECT_EQ(reports(), texts{});
    EXPECT_TRUE(foundry_access::is_checked());
}

TEST_F(FoundryCheck, SaysNothingOfARootThatIsNoDirectory)
{
    write_file(place / "file", "");
    for (const std::string& root : {place / "none", place / "file", std::string(";/tmp")}) {
        foundry_access::release();
        set(k_root, root.c_str());
        EXPECT_EQ(capture.exit_value_of(check), -999) << root;
        EXPECT_EQ(reports(), texts{}) << root;
        EXPECT_TRUE(foundry_access::is_checked()) << root;
    }
}

TEST_F(FoundryCheck, GoesOnWhereTheReportReturns)
{
    const scoped_environment returns("QVS_MSG_ABORT_RETURN", "");
    set(k_root, place.path().c_str());
    EXPECT_EQ(capture.exit_value_of(check), -999);
    ASSERT_EQ(reports().size(), 2U);
    EXPECT_NE(reports()[0].find("\"data\""), std::string::npos);
    EXPECT_NE(reports()[1].find("\"bin\""), std::string::npos);
}

TEST_F(FoundryCheck, TheFlagIsSetWhenTheReportThrows)
{
    struct refusing_database final : ketriope::message_database {
        void post_contract(const char*, int, const char*) override {}
        void post_numbered(const char*, const char*, ut_va_list) override {}
        void post_text(const char*, const char*) override { throw -1; }
        void post_finished(int, const char*) override {}
        void show_types(int, bool) override {}
    } refusing;
    ketriope::message_database* const before = ketriope::install_database(&refusing);
    EXPECT_THROW(check(), int);
    ketriope::install_database(before);
    EXPECT_TRUE(foundry_access::is_checked());
    EXPECT_EQ(capture.exit_value_of(check), -999);
}

/// A root that is a directory when it is first looked at, and then a file or nothing at all.
int looks = 0;
int looks_that_succeed = 0;

bool vanishing(const char*, ketriope::platform::file_status& out)
{
    out.kind = looks++ == 0 ? ketriope::platform::file_kind::directory : ketriope::platform::file_kind::file;
    return looks <= looks_that_succeed;
}

TEST_F(FoundryCheck, ReportsARootThatVanishesWithBackslashes)
{
    const struct {
        int looks;
        const char* fault;
    } rows[] = {{1, "point to an existing directory"}, {9, "point to a directory"}};
    set(k_root, "/a/b;/c");
    scoped_operations replaced;
    replaced.table.status = vanishing;
    for (const auto& row : rows) {
        foundry_access::release();
        capture.clear();
        looks = 0;
        looks_that_succeed = row.looks;
        EXPECT_EQ(capture.exit_value_of(check), -1);
        EXPECT_EQ(reports(), texts{std::string("The FOUNDRY environment variable does not ") + row.fault +
                                   ".  Current setting is FOUNDRY=\"\\a\\b\""});
    }
}

// ---- a process with one installation

child_environment only(const child_environment& changes)
{
    child_environment all{{k_root, nullptr},
                          {k_older_root, nullptr},
                          {k_further_root, nullptr},
                          {k_tools, nullptr},
                          {"QVS_M_MSGFLOW", "0"}};
    all.insert(all.end(), changes.begin(), changes.end());
    return all;
}

child_result foundry_child(const char* asked, const child_environment& changes)
{
    return run_child(child_program("foundry_child"), {asked}, only(changes));
}

TEST(FoundryProcess, AFailedCheckEndsItWith255)
{
    const child_result result = foundry_child("check", {});
    EXPECT_EQ(result.exit_status, 255);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "ERROR - The FOUNDRY environment variable is not set.\n");
}

TEST(FoundryProcess, TheRootComesFromItsEnvironment)
{
    EXPECT_EQ(foundry_child("root", {{k_root, "C:\\a"}}).out, "C:/a\n");
    EXPECT_EQ(foundry_child("root", {}).out, "(null)\n");
}

/// A root below TEMP with a version file.
class VersionProcess : public testing::Test {
protected:
    std::string root_with(std::string_view name, std::string_view content)
    {
        const std::string root = place / name;
        std::filesystem::create_directories(root + "/data");
        write_file(root + "/data/orvsys.ini", content);
        return root;
    }
    /// The version and its length, with some numbers in the file.
    static std::string of(const child_environment& changes) { return foundry_child("version", changes).out; }

    temp_directory place;
    const char* const k_unknown = "Orlenta Software Version 0.0.0 (30)\n";
};

TEST_F(VersionProcess, IsComposedOfTheKeysOfTheFile)
{
    const std::string root = root_with("root", "[Version]\r\nMajorVersion=3\r\nMinorVersion=11\r\n"
                                               "BuildNumber=0\r\nPatchNumber=p1 p2\r\n");
    EXPECT_EQ(of({{k_root, root.c_str()}}),
              "Orlenta Software (64-bit) 3.11.0  Patch Version(s) p1 p2 (56)\n");
}

TEST_F(VersionProcess, TheFileMayLieBesideTheRoot)
{
    root_with("suite", "MajorVersion=4\n");
    const std::string root = place / "suite/tools";
    EXPECT_EQ(of({{k_root, root.c_str()}}), k_unknown);  // the way leads through the root
    std::filesystem::create_directories(root);
    EXPECT_EQ(of({{k_root, root.c_str()}}), "Orlenta Software (64-bit) 4.0.0.0 (33)\n");
    std::filesystem::create_directories(root + "/data");
    write_file(root + "/data/orvsys.ini", "");
    EXPECT_EQ(of({{k_root, root.c_str()}}), "Orlenta Software (64-bit) 0.0.0.0 (33)\n");
}

TEST_F(VersionProcess, TheToolsRootComesFirstAndAlone)
{
    const std::string root = root_with("root", "MajorVersion=3\n");
    const std::string tools = root_with("tools", "MajorVersion=5\n");
    EXPECT_EQ(of({{k_root, root.c_str()}, {k_tools, tools.c_str()}}),
              "Orlenta Software (64-bit) 5.0.0.0 (33)\n");
    EXPECT_EQ(of({{k_root, root.c_str()}, {k_tools, ""}}), k_unknown);
    const std::string below = tools + "/data";  // with the file above it, which is not looked for here
    EXPECT_EQ(of({{k_tools, below.c_str()}}), k_unknown);
}

TEST_F(VersionProcess, IsADefaultWithoutAFile)
{
    EXPECT_EQ(of({}), k_unknown);
    EXPECT_EQ(of({{k_root, "/nowhere"}}), k_unknown);
    std::filesystem::create_directories(place / "root/data/orvsys.ini");  // a directory of that name
    EXPECT_EQ(of({{k_root, (place / "root").c_str()}}), k_unknown);
}

TEST_F(VersionProcess, NoValueIsChangedBeforeItIsJoined)
{
    const std::string root = root_with("root;x", "MajorVersion=3\n");
    EXPECT_EQ(of({{k_root, root.c_str()}}), "Orlenta Software (64-bit) 3.0.0.0 (33)\n");
    EXPECT_EQ(of({{k_root, (" " + root).c_str()}}), k_unknown);
}

TEST_F(VersionProcess, IsComposedOnce)
{
    const std::string root = root_with("root", "MajorVersion=3\n");
    const std::string line = "Orlenta Software (64-bit) 3.0.0.0 (33)\n";
    EXPECT_EQ(foundry_child("version twice", {{k_root, root.c_str()}}).out, line + line);
    EXPECT_EQ(foundry_child("version twice", {}).out, std::string(k_unknown) + k_unknown);
}

// ---- the rest

TEST_F(Foundry, TclLiesInTheToolsRootOrBesideTheRoot)
{
    EXPECT_EQ(ut_getTclShellPath(), "");
    EXPECT_EQ(ut_getTclLibraryPath(), "");
    set(k_root, "C:\\a;b");
    EXPECT_EQ(ut_getTclShellPath(), "C:\\a;b/../tcltk/windows/bin/tclsh");
    EXPECT_EQ(ut_getTclLibraryPath(), "C:\\a;b/../tcltk/windows/lib/tcl8.6");
    set(k_tools, "/t");
    EXPECT_EQ(ut_getTclShellPath(), "/t/tcltk/windows/bin/tclsh");
    EXPECT_EQ(ut_getTclLibraryPath(), "/t/tcltk/windows/lib/tcl8.6");
    set(k_tools, "");
    EXPECT_EQ(ut_getTclShellPath(), "/tcltk/windows/bin/tclsh");
    EXPECT_FALSE(foundry_access::is_built());
}

TEST_F(Foundry, TheTestModeIsReadAtEachCall)
{
    EXPECT_EQ(ut_istestmode(), nullptr);
    set("QVS_TEST_MODE", "nightly");
    EXPECT_STREQ(ut_istestmode(), "nightly");
    set("QVS_TEST_MODE", "");
    EXPECT_STREQ(ut_istestmode(), "");
}

TEST(BinPlatform, IsNt64)
{
    EXPECT_STREQ(ut_getbinplatform(), "nt64");
}

/// Tells on standard error the machine type that a system of this version has, and the one that a later
/// answer gives.
void tell_machine_type(unsigned long version)
{
    static unsigned long answer = 0;
    answer = version;
    scoped_operations replaced;
    replaced.table.system_version = [] { return answer; };
    const long type = ut_getmachinetype();
    answer = ~version;
    std::fprintf(stderr, "%ld %ld", type, ut_getmachinetype());
    std::exit(0);
}

TEST(MachineTypeDeathTest, FollowsTheVersionOfTheSystemAtTheFirstCall)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");  // each answer in a process of its own
    EXPECT_EXIT(tell_machine_type(0), testing::ExitedWithCode(0), "^256 256$");
    EXPECT_EXIT(tell_machine_type(0x7FFFFFFF), testing::ExitedWithCode(0), "^256 256$");
    EXPECT_EXIT(tell_machine_type(0x80000000), testing::ExitedWithCode(0), "^2048 2048$");
    EXPECT_EXIT(tell_machine_type(0x800000FF), testing::ExitedWithCode(0), "^2048 2048$");
    EXPECT_EXIT(tell_machine_type(0x80000100), testing::ExitedWithCode(0), "^4096 4096$");
    EXPECT_EXIT(tell_machine_type(0xC000FFFF), testing::ExitedWithCode(0), "^4096 4096$");
}

TEST(MachineType, Is256Here)
{
    EXPECT_EQ(ut_getmachinetype(), 256);
}

TEST(Copyright, HasFiveLinesAndTheWhole)
{
    UT_COPYRIGHT_OBJ* const notice = UT_COPYRIGHT_OBJ::get();
    EXPECT_EQ(UT_COPYRIGHT_OBJ::get(), notice);
    EXPECT_STREQ(notice->getC1(), "ketriope base utilities");
    EXPECT_STREQ(notice->getC2(), "Copyright (c) Velmora Semiconductor Corporation.");
    EXPECT_STREQ(notice->getC3(), "All rights reserved.");
    EXPECT_STREQ(notice->getC4(), "Part of the Orlenta Software suite.");
    EXPECT_STREQ(notice->getC5(), "See the licence that came with this product.");
    EXPECT_STREQ(notice->getCAll(), "ketriope base utilities\n"
                                    "Copyright (c) Velmora Semiconductor Corporation.\n"
                                    "All rights reserved.\n"
                                    "Part of the Orlenta Software suite.\n"
                                    "See the licence that came with this product.\n");
}

}  // namespace
