// Runs a command N times and prints the median wall time of one run in
// microseconds; for the in-band benchmark in the VM, where busybox's date
// has no sub-second clock.
//
// Usage: run_timed N [--remove FILE] COMMAND [ARGS...]
// --remove deletes FILE before each run (an upload asks before it
// replaces a file). The command's output goes to /dev/null; a run that
// fails ends the measurement with status 1.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

int main(int argc, char* argv[])
{
    if (argc < 3) {
        std::fprintf(stderr, "usage: %s N [--remove FILE] COMMAND [ARGS...]\n", argv[0]);
        return 2;
    }
    const int iRuns = std::atoi(argv[1]);
    int iFirst = 2;
    const char* pchRemove = nullptr;
    if (std::strcmp(argv[2], "--remove") == 0 && argc > 4) {
        pchRemove = argv[3];
        iFirst = 4;
    }
    std::vector<long> alMicroseconds;
    for (int i = 0; i < iRuns; ++i) {
        if (pchRemove != nullptr) {
            unlink(pchRemove);
        }
        const auto start = std::chrono::steady_clock::now();
        const pid_t pid = fork();
        if (pid == 0) {
            const int fd = open("/dev/null", O_RDWR);
            dup2(fd, STDIN_FILENO);
            dup2(fd, STDOUT_FILENO);
            dup2(fd, STDERR_FILENO);
            execvp(argv[iFirst], argv + iFirst);
            _exit(127);
        }
        int iStatus = 0;
        waitpid(pid, &iStatus, 0);
        const auto elapsed = std::chrono::steady_clock::now() - start;
        if (!WIFEXITED(iStatus) || WEXITSTATUS(iStatus) != 0) {
            std::fprintf(stderr, "%s failed\n", argv[iFirst]);
            return 1;
        }
        alMicroseconds.push_back(
            static_cast<long>(std::chrono::duration_cast<std::chrono::microseconds>(elapsed).count()));
    }
    std::sort(alMicroseconds.begin(), alMicroseconds.end());
    std::printf("%ld\n", alMicroseconds[alMicroseconds.size() / 2]);
    return 0;
}
