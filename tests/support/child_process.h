// tests/support/child_process.h: runs a program and tells all that a parent can see of it.
#pragma once
#include <string>
#include <utility>
#include <vector>

struct child_result {
    int exit_status = -1;  ///< 0 to 255; -1 if a signal ended it
    int signal = 0;        ///< the signal that ended it, or 0
    std::string out;       ///< standard output
    std::string err;       ///< standard error
};

using child_environment = std::vector<std::pair<std::string, const char*>>;  ///< null takes a name away

/// Runs `program` with `arguments` in this process's environment with `changes` made to it, and waits.
child_result run_child(const std::string& program, const std::vector<std::string>& arguments = {},
                       const child_environment& changes = {});

/// The path of a child program of the tests: tests/process/<name>.cpp.
std::string child_program(const std::string& name);
