// pty_child [-reports] <program> <argument>...: runs a program on a terminal of its own, and writes what it
// wrote there to standard output. With -reports the terminal is its standard error alone.
#include <array>
#include <cstdlib>
#include <string_view>

#include <fcntl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

namespace {

[[noreturn]] void become(char** argv, const char* terminal, int stream)
{
    ::setsid();
    const int slave = ::open(terminal, O_RDWR);
    termios mode{};
    ::tcgetattr(slave, &mode);
    ::cfmakeraw(&mode);  // bytes as they are: no CR in front of LF
    ::tcsetattr(slave, TCSANOW, &mode);
    ::dup2(slave, stream);
    ::close(slave);
    ::execv(argv[0], argv);
    ::_exit(127);
}

void copy_to_standard_output(int master)
{
    std::array<char, 4096> piece{};
    for (;;) {
        const ssize_t count = ::read(master, piece.data(), piece.size());
        if (count <= 0) return;  // the other side is closed
        if (::write(STDOUT_FILENO, piece.data(), static_cast<std::size_t>(count)) != count) return;
    }
}

}  // namespace

int main(int argc, char** argv)
{
    const bool reports = argc > 1 && std::string_view(argv[1]) == "-reports";
    if (reports) {
        --argc;
        ++argv;
    }
    const int master = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (argc < 2 || master < 0 || ::grantpt(master) != 0 || ::unlockpt(master) != 0) return 126;
    const char* const terminal = ::ptsname(master);
    const pid_t child = ::fork();
    if (child == 0) become(argv + 1, terminal, reports ? STDERR_FILENO : STDOUT_FILENO);
    copy_to_standard_output(master);
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 126;
}
