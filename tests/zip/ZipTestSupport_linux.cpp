// ZipTestSupport_linux.cpp: the ZIP tests' helpers that only Linux has: a forked child and a
// system call filter.
#include "ZipTestSupport.h"

#include <cerrno>
#include <cstddef>
#include <iterator>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace ziptest {

// Runs `body` in a forked child and gives the report it returned, or what went wrong with it.
std::string InChild(const std::function<std::string()>& body) {
    int ends[2];
    if (::pipe(ends) != 0)
        return "no pipe";
    const pid_t child = ::fork();
    if (child == 0) {
        ::close(ends[0]);
        std::string report;
        try {
            report = body();
        } catch (const std::exception& e) {
            report = std::string("exception: ") + e.what();
        }
        const ssize_t ignored = ::write(ends[1], report.data(), report.size());
        static_cast<void>(ignored);
        ::_exit(0);
    }
    ::close(ends[1]);
    std::string report;
    char buffer[256];
    for (ssize_t got; (got = ::read(ends[0], buffer, sizeof buffer)) > 0;)
        report.append(buffer, static_cast<size_t>(got));
    ::close(ends[0]);
    int status = 0;
    ::waitpid(child, &status, 0);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
        report += " (child ended with status " + std::to_string(status) + ")";
    return report;
}

// Makes every rename of this process fail with EPERM; false where the system has no filters.
bool ForbidRenames() {
    sock_filter rules[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
#ifdef SYS_rename
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_rename, 3, 0),
#else
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_renameat, 3, 0),
#endif
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_renameat, 2, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_renameat2, 1, 0),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EPERM),
    };
    const sock_fprog program{static_cast<unsigned short>(std::size(rules)), rules};
    return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

}  // namespace ziptest
