// tests/process/msgterminate_child.cpp: a tool that opens a log of its messages and ends, in one of the
// ways that its argument names.
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <map>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "basutstream.h"
#include "halt.h"
#include "msgman.h"
#include "msgterminate.h"
#include "utmsgmanager.h"

namespace {

int shown(int, eMessage_Type, std::string& text)
{
    std::printf("shown: %s\n", text.c_str());
    return 0;
}

int sid_of_a_post()
{
    return msgManager().postMsg(1'009'990, "x");
}

void break_a_contract()
{
    UT_STREAM stream(-1, UT_ACCESS_READ, 4096, nullptr);
    stream.enc_begin();  // without a key
}

void catch_a_broken_contract()
{
    try {
        break_a_contract();
    } catch (int code) {
        std::printf("caught %d\n", code);
    }
}

void show(const std::string& text)
{
    std::printf("%s\n", text.c_str());
}

// ---- first reports

void hand_over_to_a_function()
{
    msgManager().setPostMsgFun(shown);
    msgManager().postUtMsgMgr(MSG_UT_ERROR, "ERROR - x", 1);
}

void everything_that_needs_no_index()
{
    msgManager().addstream(std::cout);
    for (void (*report)(const char*) : {ut_status, ut_c_status, ut_c_warning, ut_c_error}) report("x");
    ut_msgman->info("x", 0);
    ut_msgman->internal("x", "p", "m", 1, "r", 0);
    ut_msgman->setSuppressFlag(0);
    *ut_msgman << "y" << 5 << std::endl;
}

// ---- the section held by another thread

std::atomic<bool> wanted = false;
std::atomic<bool> held = false;
std::atomic<bool> let_go = false;

/// A thread that enters the section when it is wanted to, and stays until it is let go.
void start_a_holder()
{
    static msgDbManager& door = *new msgDbManager;  // of any database: the section is one for all
    std::thread([] {
        while (!wanted) std::this_thread::yield();
        door.msgEnterCriticalSection();
        held = true;
        while (!let_go) std::this_thread::yield();
        ut_error("from the holder");
        door.msgLeaveCriticalSection();
    }).detach();
}

void wait_for_the_holder()
{
    wanted = true;
    while (!held) std::this_thread::yield();
}

void throw_while_it_is_held()
{
    start_a_holder();
    wait_for_the_holder();
    msg_throw(-1);
}

void throw_while_it_is_held_for_a_time()
{
    start_a_holder();
    wait_for_the_holder();
    let_go = true;
    msg_throw(-1);
}

void hold_it_when_the_handler_is_through()
{
    start_a_holder();
    std::atexit(wait_for_the_holder);  // runs in front of the library's exit handler
    msg_throw(-1);
}

void hold_it_at_the_normal_end()
{
    start_a_holder();
    wait_for_the_holder();
}

void throw_while_this_thread_holds_it()
{
    msgManager messages;
    msgDbManager::initMsgDbManager(nullptr)->msgEnterCriticalSection();
    ut_error("x");
    msg_throw(-1);
}

// ---- others

void two_threads_fail()
{
    std::atomic<int> ready = 0;
    const auto fail = [&] {
        ut_error("x");
        for (++ready; ready < 2;) std::this_thread::yield();
        msg_throw(-1);
    };
    std::thread first(fail);
    std::thread second(fail);
    first.join();
    second.join();
}

void die_in_the_middle()
{
    for (int i = 0; i < 100; ++i) ut_error(std::to_string(i).c_str());
    std::raise(SIGKILL);
}

struct fails_at_the_end {
    ~fails_at_the_end() { msg_throw(-1); }
};

/// A static object made before the first message outlives the exit handler.
void throw_when_the_exit_handler_is_through()
{
    static const fails_at_the_end late;
}

void end_fatally_when_the_exit_handler_is_through()
{
    static const struct reports_at_the_end {
        ~reports_at_the_end() { ut_userfatal("late", 7); }
    } late;
}

void dump_nothing()
{
    std::string path = "untouched";
    std::printf("%d %s\n", msgCreateMiniDump(path), path.c_str());
}

struct scenario {
    void (*run)();
    bool before_the_log = false;  ///< it must come before the first message
};

std::vector<std::string> answers;

const std::map<std::string, scenario> k_scenarios{
    {"normal end", {[] { ut_error("x"); }}},
    {"throw", {[] { msg_throw(-1); }}},
    {"throw 0", {[] { msg_throw(0); }}},
    {"std::exception", {[] { throw std::runtime_error("unseen"); }}},
    {"error, throw", {[] { ut_error("x"), msg_throw(-1); }}},
    {"error, status, throw", {[] { ut_error("x"), ut_status("s"), msg_throw(-1); }}},
    {"error, warning, throw", {[] { ut_error("x"), ut_warning("w"), msg_throw(-1); }}},
    {"error made a warning, throw", {[] {
         msgManager().setMsgType("1009990", MSG_WARNING);
         ut_error("x");
         msg_throw(-1);
     }}},
    {"legacy error, throw", {[] { ut_c_error("x"), msg_throw(-1); }}},
    {"contract", {break_a_contract}},
    {"contract, caught", {catch_a_broken_contract}},
    {"contract, caught, std::exception", {[] {
         catch_a_broken_contract();
         throw std::runtime_error("unseen");
     }}},
    {"contract, caught, reset, throw", {[] {
         catch_a_broken_contract();
         msgManager().resetErrorStatus();
         msg_throw(-1);
     }}},
    {"status without a text, throw", {[] {
         std::vector<std::string> none;
         msgManager messages;
         msgDbManager::findUniqueDbManager()->postErrorStatus("0000000", none, none);
         msg_throw(-1);
     }}},
    {"status of an unknown number, throw", {[] {
         std::vector<std::string> none;
         msgManager messages;
         msgDbManager::findUniqueDbManager()->postErrorStatus("1000077", none, none);
         msg_throw(-1);
     }}},
    {"fatal", {[] { ut_msgman->fatal("dead", "p", "m", 1, "r", 42, 0); }}},
    {"userfatal", {[] { ut_userfatal("u"); }}},
    {"userfatal with a value", {[] { ut_userfatal("u", 5); }}},
    {"c_userfatal", {[] { ut_c_userfatal("u"); }}},
    {"abort flag", {[] { ut_msgman->setabortflag(1), ut_c_error("u"); }}},
    {"halt", {[] { ut_haltobj.sethaltvalue(1), ut_halted(); }}},
    {"dump", {dump_nothing}},

    {"ut_error", {[] { ut_error("x"); }}},
    {"ut_warning", {[] { ut_warning("x"); }}},
    {"ut_info", {[] { ut_info("x"); }}},
    {"ut_userfatal(text)", {[] { ut_userfatal("x"); }}},
    {"ut_userfatal(text, value)", {[] { ut_userfatal("x", 5); }}},
    {"msgManager(category)", {[] { msgManager messages("framework"); }}},
    {"postMsg", {[] { sid_of_a_post(); }}},
    {"postErrorStatus", {[] { msgManager().postErrorStatus("1000000", "m", 1, "t"); }}},
    {"queryMsgDB", {[] { msgManager().queryMsgDB("1009990", MSGDB_TEXT, answers); }}},
    {"queryMsgDisplayStr", {[] { msgManager().queryMsgDisplayStr("1009990"); }}},
    {"getMsgMID", {[] { msgManager().getMsgMID("common", "9990"); }}},
    {"postUtMsgMgr with a post function", {hand_over_to_a_function}},
    {"what needs no index", {everything_that_needs_no_index}},

    {"throw while a thread is stuck in the section", {throw_while_it_is_held}},
    {"throw while a thread is at work in the section", {throw_while_it_is_held_for_a_time}},
    {"throw, and a thread takes the section", {hold_it_when_the_handler_is_through}},
    {"normal end while a thread is stuck in the section", {hold_it_at_the_normal_end}},
    {"throw while this thread is in the section", {throw_while_this_thread_holds_it}},
    {"two threads fail", {two_threads_fail}},
    {"kill", {die_in_the_middle}},
    {"throw after the exit handler", {throw_when_the_exit_handler_is_through, true}},
    {"userfatal after the exit handler", {end_fatally_when_the_exit_handler_is_through, true}},
    {"throw before any message", {[] { msg_throw(-1); }, true}},
};

}  // namespace

int main(int argc, char** argv)
{
    const scenario& asked = k_scenarios.at(argv[1]);
    if (asked.before_the_log) asked.run();
    if (argc > 2 && msgManager().startMsgLogFile(argv[2], MSG_ALL) == 0) show("no log");
    if (!asked.before_the_log) asked.run();
    return 0;
}
