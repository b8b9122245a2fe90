#include "unprivileged.h"

#include "files.h"

#include <grp.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <exception>

namespace Kelvra::SCADA::Test {

namespace {

constexpr uid_t NOBODY = 65534;

bool giveAway(const std::string& tree) {
    bool given = lchown(tree.c_str(), NOBODY, NOBODY) == 0;
    for (const std::string& relative : treeOf(tree))
        given = lchown((tree + "/" + relative).c_str(), NOBODY, NOBODY) == 0 && given;
    return given;
}

bool dropRoot() {
    return setgroups(0, nullptr) == 0 && setgid(NOBODY) == 0 && setuid(NOBODY) == 0;
}

int runChild(bool isRoot, const std::function<bool()>& body) {
    try {
        if (isRoot && !dropRoot()) {
            std::perror("cannot drop root");
            return EXIT_FAILURE;
        }
        return body() ? EXIT_SUCCESS : EXIT_FAILURE;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "%s\n", failure.what());
        return EXIT_FAILURE;
    }
}

} // namespace

bool runUnprivileged(const std::string& tree, const std::function<bool()>& body) {
    const bool isRoot = geteuid() == 0;
    if (isRoot && !giveAway(tree))
        return false;
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child < 0)
        return false;
    if (child == 0) {
        const int status = runChild(isRoot, body);
        std::fflush(nullptr);
        _exit(status);
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR)
            return false;
    }
    return WIFEXITED(status) && WEXITSTATUS(status) == EXIT_SUCCESS;
}

} // namespace Kelvra::SCADA::Test
