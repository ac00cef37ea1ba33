// tests/support/child_process.cpp
#include "child_process.h"

#include <array>
#include <cstdlib>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

struct pipe_ends {
    int read_end;
    int write_end;
};

pipe_ends make_pipe()
{
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
    return {ends[0], ends[1]};
}

[[noreturn]] void become(const std::string& program, const std::vector<std::string>& arguments,
                         const child_environment& changes, int out, int err)
{
    ::dup2(out, STDOUT_FILENO);
    ::dup2(err, STDERR_FILENO);
    for (const auto& [name, value] : changes) {
        if (value != nullptr)
            ::setenv(name.c_str(), value, 1);
        else
            ::unsetenv(name.c_str());
    }
    std::vector<char*> argv{const_cast<char*>(program.c_str())};
    for (const auto& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    ::execv(program.c_str(), argv.data());
    ::_exit(127);
}

/// Reads both pipes until both are closed.
void drain(int out_end, int err_end, child_result& result)
{
    std::array<pollfd, 2> ends{pollfd{out_end, POLLIN, 0}, pollfd{err_end, POLLIN, 0}};
    std::array<std::string*, 2> texts{&result.out, &result.err};
    std::array<char, 65536> piece{};
    while (ends[0].fd >= 0 || ends[1].fd >= 0) {
        if (::poll(ends.data(), ends.size(), -1) < 0) continue;
        for (std::size_t i = 0; i < ends.size(); ++i) {
            if (ends[i].fd < 0 || ends[i].revents == 0) continue;
            const ssize_t count = ::read(ends[i].fd, piece.data(), piece.size());
            if (count > 0) {
                texts[i]->append(piece.data(), static_cast<std::size_t>(count));
            } else {
                ::close(ends[i].fd);
                ends[i].fd = -1;
            }
        }
    }
}

}  // namespace

child_result run_child(const std::string& program, const std::vector<std::string>& arguments,
                       const child_environment& changes)
{
    const pipe_ends out = make_pipe();
    const pipe_ends err = make_pipe();
    const pid_t child = ::fork();
    if (child == 0) become(program, arguments, changes, out.write_end, err.write_end);
    ::close(out.write_end);
    ::close(err.write_end);
    child_result result;
    drain(out.read_end, err.read_end, result);
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {}
    if (WIFEXITED(status)) result.exit_status = WEXITSTATUS(status);
    if (WIFSIGNALED(status)) result.signal = WTERMSIG(status);
    return result;
}

std::string child_program(const std::string& name)
{
    return std::string(TEST_CHILD_DIR "/") + name;
}
