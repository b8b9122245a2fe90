#include "duktape/walls.h"

#include <seccomp.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>

namespace Kelvra::SCADA::Codec {

namespace {

// The engine limits its recursion by counting calls; with a stack of this many bytes it reaches that limit first.
constexpr rlim_t STACK = rlim_t{32} * 1024 * 1024;

// A sanitizer makes its own system calls when the engine jumps.
#ifdef SCADA_SANITIZED
constexpr unsigned ON_ANY_OTHER_CALL = SCMP_ACT_LOG;
#else
constexpr unsigned ON_ANY_OTHER_CALL = SCMP_ACT_KILL_PROCESS;
#endif

void lower(__rlimit_resource resource, rlim_t limit) {
    rlimit present{};
    getrlimit(resource, &present);
    if (present.rlim_max < limit)
        limit = present.rlim_max;
    const rlimit wanted{limit, limit};
    setrlimit(resource, &wanted);
}

void raiseStack() {
    rlimit present{};
    getrlimit(RLIMIT_STACK, &present);
    if (present.rlim_cur >= STACK)
        return;
    present.rlim_cur = present.rlim_max < STACK ? present.rlim_max : STACK;
    setrlimit(RLIMIT_STACK, &present);
}

bool allow(scmp_filter_ctx filter, int call) {
    return seccomp_rule_add(filter, SCMP_ACT_ALLOW, call, 0) == 0;
}

bool allowOn(scmp_filter_ctx filter, int call, int descriptor) {
    const scmp_arg_cmp arguments[] = {{0, SCMP_CMP_EQ, static_cast<scmp_datum_t>(descriptor), 0}};
    return seccomp_rule_add_array(filter, SCMP_ACT_ALLOW, call, 1, arguments) == 0;
}

// Allows only anonymous memory, and no executable memory.
bool allowMapping(scmp_filter_ctx filter, int call) {
    const scmp_arg_cmp arguments[] = {{2, SCMP_CMP_MASKED_EQ, PROT_EXEC, 0},
                                      {3, SCMP_CMP_MASKED_EQ, MAP_ANONYMOUS, MAP_ANONYMOUS}};
    return seccomp_rule_add_array(filter, SCMP_ACT_ALLOW, call, 2, arguments) == 0;
}

bool allowNeeded(scmp_filter_ctx filter) {
    constexpr int ANY[] = {SCMP_SYS(exit),          SCMP_SYS(exit_group),      SCMP_SYS(brk),
                           SCMP_SYS(munmap),        SCMP_SYS(mremap),          SCMP_SYS(madvise),
                           SCMP_SYS(clock_gettime), SCMP_SYS(clock_gettime64), SCMP_SYS(gettimeofday),
                           SCMP_SYS(futex),         SCMP_SYS(rt_sigreturn),    SCMP_SYS(restart_syscall)};
    for (const int call : ANY)
        if (!allow(filter, call))
            return false;
    // An architecture has only one of the two calls.
    const bool maps = allowMapping(filter, SCMP_SYS(mmap));
    const bool mapsPages = allowMapping(filter, SCMP_SYS(mmap2));
    return allowOn(filter, SCMP_SYS(read), STDIN_FILENO) && allowOn(filter, SCMP_SYS(write), STDOUT_FILENO) &&
           allowOn(filter, SCMP_SYS(write), STDERR_FILENO) && (maps || mapsPages);
}

} // namespace

void restrictProcess() {
    lower(RLIMIT_CORE, 0);
    lower(RLIMIT_FSIZE, 0);
    lower(RLIMIT_NPROC, 0);
    raiseStack();
    prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    // This form needs no time zone file.
    setenv("TZ", "UTC0", 1); // NOLINT(concurrency-mt-unsafe)
    tzset();
}

void boundAddressSpace([[maybe_unused]] std::size_t memory) {
#ifndef SCADA_SANITIZED // a sanitizer reserves terabytes of address space
    // For libraries, the stack, requests and answers.
    constexpr rlim_t AROUND_THE_ENGINE = rlim_t{128} * 1024 * 1024;
    lower(RLIMIT_AS, AROUND_THE_ENGINE + memory);
#endif
}

SystemCallFilter::SystemCallFilter() : rules(seccomp_init(ON_ANY_OTHER_CALL)) {
    if (rules == nullptr || allowNeeded(rules))
        return;
    seccomp_release(rules);
    rules = nullptr;
}

SystemCallFilter::~SystemCallFilter() {
    if (rules != nullptr)
        seccomp_release(rules);
}

bool SystemCallFilter::load() {
    return rules != nullptr && seccomp_load(rules) == 0;
}

} // namespace Kelvra::SCADA::Codec
