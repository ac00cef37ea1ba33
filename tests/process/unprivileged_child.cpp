// unprivileged_child <program> <argument>...: becomes a program that permissions hold for, also where
// the tests run as root. Exit status 125 where that cannot be had.
#include <linux/securebits.h>
#include <sys/prctl.h>
#include <unistd.h>

int main(int argc, char** argv)
{
    if (argc < 2) return 126;
    // With this bit a program that root starts gets none of root's rights.
    if (::geteuid() == 0 && ::prctl(PR_SET_SECUREBITS, SECBIT_NOROOT, 0, 0, 0) != 0) return 125;
    ::execv(argv[1], argv + 1);
    return 127;
}
