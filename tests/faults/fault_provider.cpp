// Disturbs the tool at one of the steps in which it changes files, at one of the programs that it starts, or at one of
// its allocations. It is loaded instead of the stand-in (LD_LIBRARY_PATH), so that its functions come before those of
// the C library. Environment variables control it:
//
//   SCADA_TEST_FAULT             the fault; `FAULTS` has the names
//   SCADA_TEST_FAULT_AT          the number of the step, program or allocation that has the fault, counted from 1
//   SCADA_TEST_FAULT_DIR         only steps below this directory count; it ends with a slash
//   SCADA_TEST_FAULT_LOG         a file that gets a line for each step and for each program that hangs
//   SCADA_TEST_FAULT_DESCRIPTOR  for "ask": each step is announced on this descriptor and waits for a byte
//   SCADA_TEST_TRACE             a file that gets a record of each change below that directory, with its data; trace.h
//                                describes the format
//   SCADA_TEST_NO_EXCHANGE       two names cannot be exchanged in one step
//   SCADA_TEST_NO_SYNC           a sync counts as a step but does nothing
//
// Output to standard output and standard error is not a step.

#include <dlfcn.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <new>
#include <string>
#include <system_error>
#include <vector>

namespace {

enum class Fault { NONE, KILL, FULL, NO_INODES, QUOTA, ERROR, ASK, FAIL, NOT_STARTED, HALF, HANG, MEMORY };

struct NamedFault {
    const char* name;
    Fault fault;
};

constexpr std::array<NamedFault, 11> FAULTS{{
    {"kill", Fault::KILL},               // both processes of the tool are killed at this step
    {"full", Fault::FULL},               // from this step on there is no space
    {"no-inodes", Fault::NO_INODES},     // from this step on there is no inode
    {"quota", Fault::QUOTA},             // from this step on the quota is used up
    {"error", Fault::ERROR},             // this step alone fails, with an input/output error
    {"ask", Fault::ASK},                 // each step waits until it may go on
    {"fail", Fault::FAIL},               // this program does nothing and fails
    {"not-started", Fault::NOT_STARTED}, // this program cannot be started
    {"half", Fault::HALF},               // this program does half of its work and fails
    {"hang", Fault::HANG},               // this program does nothing and does not end
    {"memory", Fault::MEMORY},           // this allocation fails
}};

/// Counted in both processes of the tool together.
struct Counts {
    std::atomic<long> steps{0};
    std::atomic<long> programs{0};
    std::atomic<long> allocations{0};
    std::atomic<bool> isPrepared{false};
};

struct Settings {
    Settings() : mainProcess(getpid()) {
        const char* const name = std::getenv("SCADA_TEST_FAULT");
        for (const NamedFault& row : FAULTS) {
            if (name != nullptr && std::strcmp(row.name, name) == 0)
                fault = row.fault;
        }
        void* const memory = mmap(nullptr, sizeof(Counts), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        counts = memory == MAP_FAILED ? nullptr : new (memory) Counts;
    }

    static long number(const char* variable) {
        const char* const text = std::getenv(variable);
        return text == nullptr ? 0 : std::strtol(text, nullptr, 10);
    }

    Fault fault = Fault::NONE;
    pid_t mainProcess;
    Counts* counts = nullptr;
    const long at = number("SCADA_TEST_FAULT_AT");
    const int descriptor = static_cast<int>(number("SCADA_TEST_FAULT_DESCRIPTOR"));
    const char* const directory = std::getenv("SCADA_TEST_FAULT_DIR");
    const char* const log = std::getenv("SCADA_TEST_FAULT_LOG");
    const char* const trace = std::getenv("SCADA_TEST_TRACE");
    const bool canExchange = std::getenv("SCADA_TEST_NO_EXCHANGE") == nullptr;
    const bool syncs = std::getenv("SCADA_TEST_NO_SYNC") == nullptr;
};

const Settings& settings() {
    static const Settings given;
    return given;
}

// Reads the settings before the tool has another process.
__attribute__((constructor)) void prepare() {
    settings();
}

template <typename Function> Function* real(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

// --- steps

enum Needs : unsigned int { NOTHING = 0, SPACE = 1, INODE = 2 };

std::string targetOfLink(const std::string& link) {
    std::array<char, PATH_MAX> buffer{};
    const ssize_t length = readlink(link.c_str(), buffer.data(), buffer.size());
    return length < 0 ? "" : std::string(buffer.data(), static_cast<std::size_t>(length));
}

std::string pathOf(int descriptor) {
    return targetOfLink("/proc/self/fd/" + std::to_string(descriptor));
}

std::string pathAt(int directory, const char* path) {
    if (path == nullptr || path[0] == '/')
        return path == nullptr ? "" : path;
    return (directory == AT_FDCWD ? targetOfLink("/proc/self/cwd") : pathOf(directory)) + "/" + path;
}

bool isBelow(const std::string& path, const char* directory) {
    return directory == nullptr || path.compare(0, std::strlen(directory), directory) == 0;
}

void append(const char* path, const std::string& text) {
    if (path == nullptr)
        return;
    const long file = syscall(SYS_openat, AT_FDCWD, path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    syscall(SYS_write, file, text.data(), text.size());
    syscall(SYS_close, file);
}

void writeLog(const std::string& line) {
    append(settings().log, line);
}

[[noreturn]] void killTool() {
    kill(settings().mainProcess, SIGKILL);
    kill(getpid(), SIGKILL);
    for (;;)
        pause();
}

void askToGoOn(const std::string& line) {
    char answer = 0;
    syscall(SYS_write, settings().descriptor, line.data(), line.size());
    syscall(SYS_read, settings().descriptor, &answer, 1);
}

int errorAt(long step, unsigned int needs) {
    const bool hasCome = step >= settings().at;
    switch (settings().fault) {
    case Fault::FULL:
        return hasCome && (needs & SPACE) != 0 ? ENOSPC : 0;
    case Fault::NO_INODES:
        return hasCome && (needs & INODE) != 0 ? ENOSPC : 0;
    case Fault::QUOTA:
        return hasCome && needs != NOTHING ? EDQUOT : 0;
    case Fault::ERROR:
        return step == settings().at ? EIO : 0;
    default:
        return 0;
    }
}

/// The fate of a step.
struct Verdict {
    bool goesOn;
    bool isFirst; ///< of those that fail
};

const Verdict GOES_ON{true, false};

Verdict step(const char* name, unsigned int needs, const std::string& path) {
    const int formerError = errno;
    if (settings().counts == nullptr || !isBelow(path, settings().directory))
        return GOES_ON;
    const long number = ++settings().counts->steps;
    const std::string line = std::to_string(number) + " " + std::to_string(needs) + " " + name + " " + path + "\n";
    writeLog(line);
    if (settings().fault == Fault::KILL && number == settings().at)
        killTool();
    if (settings().fault == Fault::ASK)
        askToGoOn(line);
    const int error = errorAt(number, needs);
    errno = error == 0 ? formerError : error;
    return {error == 0, number == settings().at};
}

Verdict stepAt(const char* name, unsigned int needs, int directory, const char* path) {
    return settings().fault == Fault::MEMORY ? GOES_ON : step(name, needs, pathAt(directory, path));
}

Verdict stepOn(const char* name, unsigned int needs, int descriptor) {
    if (descriptor == STDOUT_FILENO || descriptor == STDERR_FILENO || settings().fault == Fault::MEMORY)
        return GOES_ON;
    const std::string path = pathOf(descriptor);
    return !path.empty() && path[0] == '/' ? step(name, needs, path) : GOES_ON;
}

// --- the trace

using Words = std::vector<std::string>;

bool hasSucceeded(long result) {
    return result >= 0;
}

bool hasSucceeded(const void* result) {
    return result != nullptr;
}

bool isTraced(const std::string& path) {
    return settings().trace != nullptr && settings().directory != nullptr && isBelow(path, settings().directory);
}

std::string contentOf(const std::string& path, mode_t mode) {
    if (S_ISLNK(mode))
        return targetOfLink(path);
    std::ifstream in(path, std::ios::binary);
    return S_ISREG(mode) ? std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()) : "";
}

// Records whether the tool has given an answer: from then on the answer must be true.
std::string recordOf(const Words& words, const std::string& content) {
    struct stat output {};
    std::string text = fstat(STDOUT_FILENO, &output) == 0 && output.st_size > 0 ? "said" : "";
    text += '\0';
    for (const std::string& word : words)
        text += word + '\0';
    return text + std::to_string(content.size()) + '\0' + content;
}

// Returns an empty record for an entry that does not exist, for example an open file without a name.
std::string recordOfEntry(const std::string& path) {
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0)
        return "";
    return recordOf(
        {"entry", path, std::to_string(status.st_mode), std::to_string(status.st_uid), std::to_string(status.st_gid)},
        contentOf(path, status.st_mode));
}

void traceEntry(const std::string& path) {
    const int formerError = errno;
    if (isTraced(path))
        append(settings().trace, recordOfEntry(path));
    errno = formerError;
}

// Call this after a change of the entry at a path. Returns the result of the change.
template <typename Result> Result changedAt(int directory, const char* path, Result result) {
    if (settings().trace != nullptr && hasSucceeded(result))
        traceEntry(pathAt(directory, path));
    return result;
}

template <typename Result> Result changedOn(int file, Result result) {
    if (settings().trace != nullptr && hasSucceeded(result))
        traceEntry(pathOf(file));
    return result;
}

int removedAt(int directory, const char* path, int result) {
    if (settings().trace != nullptr && result == 0 && isTraced(pathAt(directory, path)))
        append(settings().trace, recordOf({"remove", pathAt(directory, path)}, ""));
    return result;
}

// Here, a new name of a file from elsewhere is a file of its own.
int named(const char* kind, const std::string& from, const std::string& to, int result) {
    if (result == 0 && isTraced(from))
        append(settings().trace, recordOf({kind, from, to}, ""));
    else if (result == 0)
        traceEntry(to);
    return result;
}

int synced(const char* name, int file, int result) {
    const bool all = std::strcmp(name, "syncfs") == 0;
    if (settings().trace != nullptr && result == 0 && (all || isTraced(pathOf(file))))
        append(settings().trace, recordOf({all ? "syncfs" : "sync", pathOf(file)}, ""));
    return result;
}

/// The record of each entry below the traced directory.
using Entries = std::map<std::string, std::string>;

Entries tracedEntries() {
    Entries entries;
    std::error_code error;
    if (settings().trace == nullptr || settings().directory == nullptr)
        return entries;
    for (std::filesystem::recursive_directory_iterator at(settings().directory, error);
         !error && at != std::filesystem::recursive_directory_iterator(); at.increment(error))
        entries[at->path().string()] = recordOfEntry(at->path().string());
    return entries;
}

// The programs that the tool runs do not load this library: their changes are found by comparing the directory before
// and after. None of them runs at the same time as the tool.
void traceProgram(pid_t program, const Entries& before) {
    siginfo_t end{};
    while (waitid(P_PID, static_cast<id_t>(program), &end, WEXITED | WNOWAIT) != 0 && errno == EINTR) {
    }
    const Entries after = tracedEntries();
    for (auto at = before.rbegin(); at != before.rend(); ++at) {
        if (after.count(at->first) == 0)
            append(settings().trace, recordOf({"remove", at->first}, ""));
    }
    for (const auto& [path, record] : after) {
        const auto former = before.find(path);
        if (former == before.end() || former->second != record)
            append(settings().trace, record);
    }
}

// --- the opening of files

// An existing file takes no inode, and returns its space when it is emptied.
unsigned int needsOfOpening(int directory, const char* path) {
    return faccessat(directory, path, F_OK, AT_SYMLINK_NOFOLLOW) == 0 ? NOTHING : SPACE | INODE;
}

bool isChanging(int flags) {
    return (flags & (O_CREAT | O_TRUNC | (O_TMPFILE & ~O_DIRECTORY))) != 0;
}

bool mayOpen(const char* name, int directory, const char* path, int flags) {
    return !isChanging(flags) || stepAt(name, needsOfOpening(directory, path), directory, path).goesOn;
}

std::FILE* openStreamWith(const char* name, const char* path, const char* mode) {
    const bool isRead = std::strpbrk(mode, "wa") == nullptr;
    if (!isRead && !mayOpen(name, AT_FDCWD, path, O_CREAT))
        return nullptr;
    std::FILE* const stream = real<std::FILE*(const char*, const char*)>(name)(path, mode);
    return isRead ? stream : changedAt(AT_FDCWD, path, stream);
}

int openWith(const char* name, const char* path, int flags, mode_t mode) {
    if (!mayOpen(name, AT_FDCWD, path, flags))
        return -1;
    const int file = real<int(const char*, int, ...)>(name)(path, flags, mode);
    return isChanging(flags) ? changedAt(AT_FDCWD, path, file) : file;
}

int openatWith(const char* name, int directory, const char* path, int flags, mode_t mode) {
    if (!mayOpen(name, directory, path, flags))
        return -1;
    const int file = real<int(int, const char*, int, ...)>(name)(directory, path, flags, mode);
    return isChanging(flags) ? changedAt(directory, path, file) : file;
}

// Not every call of open has a mode.
#define MODE_BEHIND(flags, mode)                                                                                       \
    std::va_list rest;                                                                                                 \
    va_start(rest, flags);                                                                                             \
    const mode_t mode = ((flags) & (O_CREAT | O_TMPFILE)) != 0 ? static_cast<mode_t>(va_arg(rest, unsigned int)) : 0;  \
    va_end(rest)

// The first part of the data may still reach the disk.
template <typename Write> ssize_t writeWith(const char* name, int file, std::size_t size, const Write& write) {
    const Verdict verdict = stepOn(name, SPACE, file);
    if (verdict.goesOn)
        return changedOn(file, write(size));
    if (verdict.isFirst && settings().fault != Fault::ERROR && size > 1)
        return write(size / 2);
    return -1;
}

int syncWith(const char* name, int file) {
    if (!stepOn(name, SPACE, file).goesOn)
        return -1;
    return synced(name, file, settings().syncs ? real<int(int)>(name)(file) : 0);
}

// --- programs

// The programs are those that the library runs: cp -f FROM TO; mkdir -p DIR; rm -f FILE; sh -c -- "rm -rf DIR/*".
constexpr const char* HALF_OF_THE_WORK = "program=$1\n"
                                         "shift\n"
                                         "case $program in\n"
                                         "cp) head -c \"$(($(wc -c <\"$2\") / 2))\" \"$2\" >\"$3\" ;;\n"
                                         "mkdir)\n"
                                         "    first=$2\n"
                                         "    while [ ! -e \"${first%/*}\" ]; do first=${first%/*}; done\n"
                                         "    [ \"$first\" = \"$2\" ] || mkdir \"$first\" ;;\n"
                                         "rm) rm \"$@\" ;;\n"
                                         "*)\n"
                                         "    eval \"set -- ${3#rm -rf }\"\n"
                                         "    find \"$1\" -type f -exec rm {} \\; -quit ;;\n"
                                         "esac\n"
                                         "exit 1\n";

constexpr const char* EMPTY_COPY = R"([ "$1" != cp ] || : >"$4"; exit 1)";

Words wordsOf(char* const* arguments) {
    Words words;
    for (; *arguments != nullptr; ++arguments)
        words.emplace_back(*arguments);
    return words;
}

Words shellFor(const char* script, const Words& words) {
    Words all{"/bin/sh", "-c", script, "sh"};
    all.insert(all.end(), words.begin(), words.end());
    return all;
}

// Returns the command that runs instead of a program, or nothing if the program itself runs.
Words insteadOf(const Words& words, long number) {
    const std::string& program = words.front();
    const bool grows = program == "cp" || program == "mkdir";
    const Verdict verdict = step("posix_spawnp", grows ? SPACE | INODE : NOTHING, words.back());
    if (!verdict.goesOn)
        return settings().fault == Fault::NO_INODES ? Words{"/bin/false"} : shellFor(EMPTY_COPY, words);
    if (number != settings().at)
        return {};
    switch (settings().fault) {
    case Fault::FAIL:
        return {"/bin/false"};
    case Fault::HALF:
        return shellFor(HALF_OF_THE_WORK, words);
    case Fault::HANG:
        return {"/bin/sleep", "1000"};
    default:
        return {};
    }
}

std::vector<char*> pointersTo(Words& words) {
    std::vector<char*> pointers;
    for (std::string& word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    return pointers;
}

} // namespace

// These have the C library's names in the object file only, because headers declare some of them in several ways.
extern "C" {

int faultOpen(const char* path, int flags, ...) __asm__("open");
int faultOpen64(const char* path, int flags, ...) __asm__("open64");
int faultOpenat(int directory, const char* path, int flags, ...) __asm__("openat");
int faultOpenat64(int directory, const char* path, int flags, ...) __asm__("openat64");
int faultCreat(const char* path, mode_t mode) __asm__("creat");
int faultCreat64(const char* path, mode_t mode) __asm__("creat64");
std::FILE* faultFopen(const char* path, const char* mode) __asm__("fopen");
std::FILE* faultFopen64(const char* path, const char* mode) __asm__("fopen64");
char* faultMkdtemp(char* pattern) __asm__("mkdtemp");
int faultMkstemp(char* pattern) __asm__("mkstemp");
int faultMkstemp64(char* pattern) __asm__("mkstemp64");
int faultMkostemp(char* pattern, int flags) __asm__("mkostemp");
int faultMkostemp64(char* pattern, int flags) __asm__("mkostemp64");

int faultOpen(const char* path, int flags, ...) {
    MODE_BEHIND(flags, mode);
    return openWith("open", path, flags, mode);
}
int faultOpen64(const char* path, int flags, ...) {
    MODE_BEHIND(flags, mode);
    return openWith("open64", path, flags, mode);
}
int faultOpenat(int directory, const char* path, int flags, ...) {
    MODE_BEHIND(flags, mode);
    return openatWith("openat", directory, path, flags, mode);
}
int faultOpenat64(int directory, const char* path, int flags, ...) {
    MODE_BEHIND(flags, mode);
    return openatWith("openat64", directory, path, flags, mode);
}
int faultCreat(const char* path, mode_t mode) {
    return openWith("open64", path, O_WRONLY | O_CREAT | O_TRUNC, mode);
}
int faultCreat64(const char* path, mode_t mode) {
    return openWith("open64", path, O_WRONLY | O_CREAT | O_TRUNC, mode);
}
std::FILE* faultFopen(const char* path, const char* mode) {
    return openStreamWith("fopen", path, mode);
}
std::FILE* faultFopen64(const char* path, const char* mode) {
    return openStreamWith("fopen64", path, mode);
}
char* faultMkdtemp(char* pattern) {
    return changedAt(AT_FDCWD, pattern,
                     stepAt("mkdtemp", SPACE | INODE, AT_FDCWD, pattern).goesOn ? real<char*(char*)>("mkdtemp")(pattern)
                                                                                : nullptr);
}
int faultMkstemp(char* pattern) {
    return changedAt(AT_FDCWD, pattern,
                     stepAt("mkstemp", SPACE | INODE, AT_FDCWD, pattern).goesOn ? real<int(char*)>("mkstemp")(pattern)
                                                                                : -1);
}
int faultMkstemp64(char* pattern) {
    return changedAt(
        AT_FDCWD, pattern,
        stepAt("mkstemp64", SPACE | INODE, AT_FDCWD, pattern).goesOn ? real<int(char*)>("mkstemp64")(pattern) : -1);
}
int faultMkostemp(char* pattern, int flags) {
    return changedAt(AT_FDCWD, pattern,
                     stepAt("mkostemp", SPACE | INODE, AT_FDCWD, pattern).goesOn
                         ? real<int(char*, int)>("mkostemp")(pattern, flags)
                         : -1);
}
int faultMkostemp64(char* pattern, int flags) {
    return changedAt(AT_FDCWD, pattern,
                     stepAt("mkostemp64", SPACE | INODE, AT_FDCWD, pattern).goesOn
                         ? real<int(char*, int)>("mkostemp64")(pattern, flags)
                         : -1);
}

// --- contents

ssize_t faultWrite(int file, const void* data, std::size_t size) __asm__("write");
ssize_t faultWritev(int file, const iovec* parts, int count) __asm__("writev");
ssize_t faultPwrite(int file, const void* data, std::size_t size, long offset) __asm__("pwrite");
ssize_t faultPwrite64(int file, const void* data, std::size_t size, std::int64_t offset) __asm__("pwrite64");
ssize_t faultSendfile(int out, int in, long* offset, std::size_t size) __asm__("sendfile");
ssize_t faultSendfile64(int out, int in, std::int64_t* offset, std::size_t size) __asm__("sendfile64");
ssize_t faultCopyRange(int in, std::int64_t* from, int out, std::int64_t* to, std::size_t size,
                       unsigned int flags) __asm__("copy_file_range");
int faultFtruncate(int file, long size) __asm__("ftruncate");
int faultFtruncate64(int file, std::int64_t size) __asm__("ftruncate64");
int faultTruncate(const char* path, long size) __asm__("truncate");
int faultTruncate64(const char* path, std::int64_t size) __asm__("truncate64");
int faultFsync(int file) __asm__("fsync");
int faultFdatasync(int file) __asm__("fdatasync");
int faultSyncfs(int file) __asm__("syncfs");
void faultSync() __asm__("sync");

ssize_t faultWrite(int file, const void* data, std::size_t size) {
    return writeWith("write", file, size, [&](std::size_t some) {
        return real<ssize_t(int, const void*, std::size_t)>("write")(file, data, some);
    });
}
ssize_t faultWritev(int file, const iovec* parts, int count) {
    return changedOn(file, stepOn("writev", SPACE, file).goesOn
                               ? real<ssize_t(int, const iovec*, int)>("writev")(file, parts, count)
                               : -1);
}
ssize_t faultPwrite(int file, const void* data, std::size_t size, long offset) {
    return writeWith("pwrite", file, size, [&](std::size_t some) {
        return real<ssize_t(int, const void*, std::size_t, long)>("pwrite")(file, data, some, offset);
    });
}
ssize_t faultPwrite64(int file, const void* data, std::size_t size, std::int64_t offset) {
    return writeWith("pwrite64", file, size, [&](std::size_t some) {
        return real<ssize_t(int, const void*, std::size_t, std::int64_t)>("pwrite64")(file, data, some, offset);
    });
}
ssize_t faultSendfile(int out, int in, long* offset, std::size_t size) {
    return writeWith("sendfile", out, size, [&](std::size_t some) {
        return real<ssize_t(int, int, long*, std::size_t)>("sendfile")(out, in, offset, some);
    });
}
ssize_t faultSendfile64(int out, int in, std::int64_t* offset, std::size_t size) {
    return writeWith("sendfile64", out, size, [&](std::size_t some) {
        return real<ssize_t(int, int, std::int64_t*, std::size_t)>("sendfile64")(out, in, offset, some);
    });
}
ssize_t faultCopyRange(int in, std::int64_t* from, int out, std::int64_t* to, std::size_t size, unsigned int flags) {
    return writeWith("copy_file_range", out, size, [&](std::size_t some) {
        return real<ssize_t(int, std::int64_t*, int, std::int64_t*, std::size_t, unsigned int)>("copy_file_range")(
            in, from, out, to, some, flags);
    });
}
int faultFtruncate(int file, long size) {
    return changedOn(file,
                     stepOn("ftruncate", SPACE, file).goesOn ? real<int(int, long)>("ftruncate")(file, size) : -1);
}
int faultFtruncate64(int file, std::int64_t size) {
    return changedOn(
        file, stepOn("ftruncate64", SPACE, file).goesOn ? real<int(int, std::int64_t)>("ftruncate64")(file, size) : -1);
}
int faultTruncate(const char* path, long size) {
    return changedAt(
        AT_FDCWD, path,
        stepAt("truncate", SPACE, AT_FDCWD, path).goesOn ? real<int(const char*, long)>("truncate")(path, size) : -1);
}
int faultTruncate64(const char* path, std::int64_t size) {
    return changedAt(AT_FDCWD, path,
                     stepAt("truncate64", SPACE, AT_FDCWD, path).goesOn
                         ? real<int(const char*, std::int64_t)>("truncate64")(path, size)
                         : -1);
}
int faultFsync(int file) {
    return syncWith("fsync", file);
}
int faultFdatasync(int file) {
    return syncWith("fdatasync", file);
}
int faultSyncfs(int file) {
    return syncWith("syncfs", file);
}
void faultSync() {
    if (stepAt("sync", NOTHING, AT_FDCWD, "/").goesOn && settings().syncs)
        real<void()>("sync")();
    synced("syncfs", -1, 0);
}

// --- names

int faultMkdir(const char* path, mode_t mode) __asm__("mkdir");
int faultMkdirat(int directory, const char* path, mode_t mode) __asm__("mkdirat");
int faultMknod(const char* path, mode_t mode, dev_t device) __asm__("mknod");
int faultMknodat(int directory, const char* path, mode_t mode, dev_t device) __asm__("mknodat");
int faultLink(const char* from, const char* to) __asm__("link");
int faultLinkat(int fromDir, const char* from, int toDir, const char* to, int flags) __asm__("linkat");
int faultSymlink(const char* target, const char* path) __asm__("symlink");
int faultSymlinkat(const char* target, int directory, const char* path) __asm__("symlinkat");
int faultRename(const char* from, const char* to) __asm__("rename");
int faultRenameat(int fromDir, const char* from, int toDir, const char* to) __asm__("renameat");
int faultRenameat2(int fromDir, const char* from, int toDir, const char* to, unsigned int flags) __asm__("renameat2");
int faultUnlink(const char* path) __asm__("unlink");
int faultUnlinkat(int directory, const char* path, int flags) __asm__("unlinkat");
int faultRmdir(const char* path) __asm__("rmdir");
int faultRemove(const char* path) __asm__("remove");

int faultMkdir(const char* path, mode_t mode) {
    return changedAt(AT_FDCWD, path,
                     stepAt("mkdir", SPACE | INODE, AT_FDCWD, path).goesOn
                         ? real<int(const char*, mode_t)>("mkdir")(path, mode)
                         : -1);
}
int faultMkdirat(int directory, const char* path, mode_t mode) {
    return changedAt(directory, path,
                     stepAt("mkdirat", SPACE | INODE, directory, path).goesOn
                         ? real<int(int, const char*, mode_t)>("mkdirat")(directory, path, mode)
                         : -1);
}
int faultMknod(const char* path, mode_t mode, dev_t device) {
    return changedAt(AT_FDCWD, path,
                     stepAt("mknod", SPACE | INODE, AT_FDCWD, path).goesOn
                         ? real<int(const char*, mode_t, dev_t)>("mknod")(path, mode, device)
                         : -1);
}
int faultMknodat(int directory, const char* path, mode_t mode, dev_t device) {
    return changedAt(directory, path,
                     stepAt("mknodat", SPACE | INODE, directory, path).goesOn
                         ? real<int(int, const char*, mode_t, dev_t)>("mknodat")(directory, path, mode, device)
                         : -1);
}
int faultLink(const char* from, const char* to) {
    return named("link", pathAt(AT_FDCWD, from), pathAt(AT_FDCWD, to),
                 stepAt("link", SPACE, AT_FDCWD, to).goesOn ? real<int(const char*, const char*)>("link")(from, to)
                                                            : -1);
}
int faultLinkat(int fromDir, const char* from, int toDir, const char* to, int flags) {
    return named("link", pathAt(fromDir, from), pathAt(toDir, to),
                 stepAt("linkat", SPACE, toDir, to).goesOn
                     ? real<int(int, const char*, int, const char*, int)>("linkat")(fromDir, from, toDir, to, flags)
                     : -1);
}
int faultSymlink(const char* target, const char* path) {
    return changedAt(AT_FDCWD, path,
                     stepAt("symlink", SPACE | INODE, AT_FDCWD, path).goesOn
                         ? real<int(const char*, const char*)>("symlink")(target, path)
                         : -1);
}
int faultSymlinkat(const char* target, int directory, const char* path) {
    return changedAt(directory, path,
                     stepAt("symlinkat", SPACE | INODE, directory, path).goesOn
                         ? real<int(const char*, int, const char*)>("symlinkat")(target, directory, path)
                         : -1);
}
int faultRename(const char* from, const char* to) {
    return named("rename", pathAt(AT_FDCWD, from), pathAt(AT_FDCWD, to),
                 stepAt("rename", SPACE, AT_FDCWD, to).goesOn ? real<int(const char*, const char*)>("rename")(from, to)
                                                              : -1);
}
int faultRenameat(int fromDir, const char* from, int toDir, const char* to) {
    return named("rename", pathAt(fromDir, from), pathAt(toDir, to),
                 stepAt("renameat", SPACE, toDir, to).goesOn
                     ? real<int(int, const char*, int, const char*)>("renameat")(fromDir, from, toDir, to)
                     : -1);
}
int faultRenameat2(int fromDir, const char* from, int toDir, const char* to, unsigned int flags) {
    if (!stepAt("renameat2", SPACE, toDir, to).goesOn)
        return -1;
    if (!settings().canExchange && (flags & RENAME_EXCHANGE) != 0) {
        errno = EINVAL;
        return -1;
    }
    return named(
        (flags & RENAME_EXCHANGE) != 0 ? "exchange" : "rename", pathAt(fromDir, from), pathAt(toDir, to),
        real<int(int, const char*, int, const char*, unsigned int)>("renameat2")(fromDir, from, toDir, to, flags));
}
int faultUnlink(const char* path) {
    return removedAt(AT_FDCWD, path,
                     stepAt("unlink", NOTHING, AT_FDCWD, path).goesOn ? real<int(const char*)>("unlink")(path) : -1);
}
int faultUnlinkat(int directory, const char* path, int flags) {
    return removedAt(directory, path,
                     stepAt("unlinkat", NOTHING, directory, path).goesOn
                         ? real<int(int, const char*, int)>("unlinkat")(directory, path, flags)
                         : -1);
}
int faultRmdir(const char* path) {
    return removedAt(AT_FDCWD, path,
                     stepAt("rmdir", NOTHING, AT_FDCWD, path).goesOn ? real<int(const char*)>("rmdir")(path) : -1);
}
int faultRemove(const char* path) {
    return removedAt(AT_FDCWD, path,
                     stepAt("remove", NOTHING, AT_FDCWD, path).goesOn ? real<int(const char*)>("remove")(path) : -1);
}

// --- attributes

int faultChmod(const char* path, mode_t mode) __asm__("chmod");
int faultFchmod(int file, mode_t mode) __asm__("fchmod");
int faultFchmodat(int directory, const char* path, mode_t mode, int flags) __asm__("fchmodat");
int faultChown(const char* path, uid_t user, gid_t group) __asm__("chown");
int faultLchown(const char* path, uid_t user, gid_t group) __asm__("lchown");
int faultFchown(int file, uid_t user, gid_t group) __asm__("fchown");
int faultFchownat(int directory, const char* path, uid_t user, gid_t group, int flags) __asm__("fchownat");
int faultSetxattr(const char* path, const char* name, const void* value, std::size_t size,
                  int flags) __asm__("setxattr");
int faultLsetxattr(const char* path, const char* name, const void* value, std::size_t size,
                   int flags) __asm__("lsetxattr");
int faultFsetxattr(int file, const char* name, const void* value, std::size_t size, int flags) __asm__("fsetxattr");

int faultChmod(const char* path, mode_t mode) {
    return changedAt(
        AT_FDCWD, path,
        stepAt("chmod", NOTHING, AT_FDCWD, path).goesOn ? real<int(const char*, mode_t)>("chmod")(path, mode) : -1);
}
int faultFchmod(int file, mode_t mode) {
    return changedOn(file, stepOn("fchmod", NOTHING, file).goesOn ? real<int(int, mode_t)>("fchmod")(file, mode) : -1);
}
int faultFchmodat(int directory, const char* path, mode_t mode, int flags) {
    return changedAt(directory, path,
                     stepAt("fchmodat", NOTHING, directory, path).goesOn
                         ? real<int(int, const char*, mode_t, int)>("fchmodat")(directory, path, mode, flags)
                         : -1);
}
int faultChown(const char* path, uid_t user, gid_t group) {
    return changedAt(AT_FDCWD, path,
                     stepAt("chown", NOTHING, AT_FDCWD, path).goesOn
                         ? real<int(const char*, uid_t, gid_t)>("chown")(path, user, group)
                         : -1);
}
int faultLchown(const char* path, uid_t user, gid_t group) {
    return changedAt(AT_FDCWD, path,
                     stepAt("lchown", NOTHING, AT_FDCWD, path).goesOn
                         ? real<int(const char*, uid_t, gid_t)>("lchown")(path, user, group)
                         : -1);
}
int faultFchown(int file, uid_t user, gid_t group) {
    return changedOn(
        file, stepOn("fchown", NOTHING, file).goesOn ? real<int(int, uid_t, gid_t)>("fchown")(file, user, group) : -1);
}
int faultFchownat(int directory, const char* path, uid_t user, gid_t group, int flags) {
    return changedAt(
        directory, path,
        stepAt("fchownat", NOTHING, directory, path).goesOn
            ? real<int(int, const char*, uid_t, gid_t, int)>("fchownat")(directory, path, user, group, flags)
            : -1);
}
int faultSetxattr(const char* path, const char* name, const void* value, std::size_t size, int flags) {
    return changedAt(AT_FDCWD, path,
                     stepAt("setxattr", SPACE, AT_FDCWD, path).goesOn
                         ? real<int(const char*, const char*, const void*, std::size_t, int)>("setxattr")(
                               path, name, value, size, flags)
                         : -1);
}
int faultLsetxattr(const char* path, const char* name, const void* value, std::size_t size, int flags) {
    return changedAt(AT_FDCWD, path,
                     stepAt("lsetxattr", SPACE, AT_FDCWD, path).goesOn
                         ? real<int(const char*, const char*, const void*, std::size_t, int)>("lsetxattr")(
                               path, name, value, size, flags)
                         : -1);
}
int faultFsetxattr(int file, const char* name, const void* value, std::size_t size, int flags) {
    return changedOn(file, stepOn("fsetxattr", SPACE, file).goesOn
                               ? real<int(int, const char*, const void*, std::size_t, int)>("fsetxattr")(
                                     file, name, value, size, flags)
                               : -1);
}

// --- programs

int faultSpawn(pid_t* pid, const char* file, const posix_spawn_file_actions_t* actions,
               const posix_spawnattr_t* attributes, char* const* arguments,
               char* const* environment) __asm__("posix_spawnp");

int faultSpawn(pid_t* pid, const char* file, const posix_spawn_file_actions_t* actions,
               const posix_spawnattr_t* attributes, char* const* arguments, char* const* environment) {
    const auto start = real<int(pid_t*, const char*, const posix_spawn_file_actions_t*, const posix_spawnattr_t*,
                                char* const*, char* const*)>("posix_spawnp");
    if (settings().counts == nullptr || settings().fault == Fault::MEMORY)
        return start(pid, file, actions, attributes, arguments, environment);
    const long number = ++settings().counts->programs;
    Words words = insteadOf(wordsOf(arguments), number);
    if (settings().fault == Fault::NOT_STARTED && number == settings().at)
        return EAGAIN;
    if (words.empty()) {
        const Entries before = tracedEntries();
        const int result = start(pid, file, actions, attributes, arguments, environment);
        if (settings().trace != nullptr && result == 0)
            traceProgram(*pid, before);
        return result;
    }
    const int result = start(pid, words.front().c_str(), actions, attributes, pointersTo(words).data(), environment);
    if (settings().fault == Fault::HANG)
        writeLog("hangs " + std::to_string(*pid) + "\n");
    return result;
}

// --- allocations

#ifdef SCADA_FAULT_MEMORY
// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming): the names are given
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)
void* faultMalloc(std::size_t size) __asm__("malloc");
void* faultCalloc(std::size_t count, std::size_t size) __asm__("calloc");
void* faultRealloc(void* memory, std::size_t size) __asm__("realloc");
mode_t faultUmask(mode_t mask) __asm__("umask");

// Allocations of the loader and of the libraries' constructors do not count.
static bool mayAllocate() {
    if (settings().fault != Fault::MEMORY || settings().counts == nullptr || !settings().counts->isPrepared)
        return true;
    if (++settings().counts->allocations != settings().at)
        return true;
    writeLog("an allocation fails\n");
    errno = ENOMEM;
    return false;
}

void* faultMalloc(std::size_t size) {
    return mayAllocate() ? __libc_malloc(size) : nullptr;
}
void* faultCalloc(std::size_t count, std::size_t size) {
    return mayAllocate() ? __libc_calloc(count, size) : nullptr;
}
void* faultRealloc(void* memory, std::size_t size) {
    return mayAllocate() ? __libc_realloc(memory, size) : nullptr;
}

// This is the tool's last call before it runs a command.
mode_t faultUmask(mode_t mask) {
    if (settings().counts != nullptr)
        settings().counts->isPrepared = true;
    return real<mode_t(mode_t)>("umask")(mask);
}
#endif
}
