#include "NamedRow.h"
#include "ToolTest.h"
#include "findings.h"
#include "json_text.h"
#include "mount_privately.h"
#include "row_name.h"

#include <gmock/gmock.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <map>
#include <regex>
#include <vector>

namespace {

using namespace Kelvra::SCADA::Test;
using ::testing::MatchesRegex;

class Install : public ToolTest {
protected:
    Install() : source(temp / "source") { makeDir(temp / "source"); }

    ToolRun install(std::vector<std::string> options = {}) const {
        options.insert(options.begin(), {"install", temp / "source"});
        return run(options);
    }

    /// Expects that an installation is refused with these findings and leaves the custom storage unchanged.
    void expectRefusal(const std::vector<std::string>& options, std::size_t errors, const std::string& findings) const {
        const auto before = snapshot(temp / "custom");
        const ToolRun result = install(options);
        EXPECT_EQ(result.status, 5);
        EXPECT_EQ(result.out, withRemedies(findings));
        EXPECT_EQ(result.err, refusal(errors));
        EXPECT_EQ(snapshot(temp / "custom"), before);
    }

    StorageBuilder source;
};

TEST_F(Install, installsAndSaysSo) {
    addDefinition(source, "lora/demo/th1");
    addDefinition(source, "lora/demo/th2");
    const ToolRun result = install();
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "installed lora/demo/th1\ninstalled lora/demo/th2\n");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(treeOf(temp / "custom"),
              (std::set<std::string>{"lora", "lora/demo", "lora/demo/th1-decoder", "lora/demo/th1.json",
                                     "lora/demo/th2-decoder", "lora/demo/th2.json"}));
    EXPECT_EQ(treeOf(temp / "staging"), std::set<std::string>{});
}

TEST_F(Install, answersPrograms) {
    addDefinition(source, "lora/demo/th1");
    const ToolRun result = install({"--json"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, R"({
  "code" : "done",
  "format_version" : 2,
  "result" : 
  {
    "findings" : [],
    "installed" : [ "lora/demo/th1" ],
    "losses" : [],
    "not_installed" : [],
    "unchanged" : []
  },
  "status" : "success"
}
)");
    EXPECT_EQ(result.err, "");
}

TEST_F(Install, installsNothingFromAnEmptySource) {
    const ToolRun result = install();
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "nothing to install\n");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(install({"--json"}).out, R"({
  "code" : "done",
  "format_version" : 2,
  "result" : 
  {
    "findings" : [],
    "installed" : [],
    "not_installed" : [],
    "note" : "nothing to install",
    "unchanged" : []
  },
  "status" : "success"
}
)");
}

TEST_F(Install, refusesWhatIsInstalledUnlessOverwritingIsAllowed) {
    addDefinition(source, "lora/demo/th1", "Water");
    addDefinition(custom, "lora/demo/th1", "Air");
    expectRefusal({}, 1,
                  "$T/custom/lora/demo/th1.json: error: Sensor definition [lora/demo/th1] is already installed. Please "
                  "remove the custom sensor definition, or enable \"Allow Overwrite\" to replace it. "
                  "[install/already-installed]\n");
    const ToolRun allowed = install({"--allow-overwrite"});
    EXPECT_EQ(allowed.status, 0);
    EXPECT_EQ(allowed.out, "installed lora/demo/th1\n");
    EXPECT_EQ(parsed(readFile(temp / "custom/lora/demo/th1.json"))["properties"]["temperature"]["name"], "Water");
}

TEST_F(Install, refusesWhatWouldStopItHalfWay) {
    for (const char* name : {"lora/demo/a", "lora/demo/b", "lora/demo/c"})
        addDefinition(source, name);
    makeDir(temp / "custom/lora/demo/b-decoder");
    makeFifo(temp / "custom/lora/demo/c.json");
    expectRefusal({"--allow-overwrite"}, 2,
                  "$T/custom/lora/demo/b-decoder: error: File copying error while importing decoder for the "
                  "[lora/demo/b] definition. [install/decoder-blocked]\n"
                  "$T/custom/lora/demo/c.json: error: File saving error while importing [lora/demo/c] definition. "
                  "[install/file-blocked]\n");
}

TEST_F(Install, refusesADirectoryThatItCannotRead) {
    addDefinition(source, "lora/demo/th1");
    chmod((temp / "custom").c_str(), 0300);
    const ToolRun result = install();
    chmod((temp / "custom").c_str(), 0755);
    EXPECT_EQ(result.status, 5);
    EXPECT_EQ(result.out, "$T/custom: error: File copying error while importing [lora/demo/th1] definition. "
                          "[install/directory-blocked]\n    " +
                              remedyOf("install/directory-blocked") + "\n");
    EXPECT_EQ(result.err, refusal(1));
    EXPECT_EQ(treeOf(temp / "custom"), std::set<std::string>{});
}

// The directory that an operator names may contain his own files.
class InstallBesideFiles : public Install {
protected:
    InstallBesideFiles() {
        StorageBuilder staging(temp / "staging");
        addDefinition(staging, "lora/demo/own");
        addDefinition(staging, ".old/v/m");
        writeFile(temp / "staging/notes.txt", "mine");
        writeFile(temp / "staging/scada-install-notes/a.txt", "mine");
        before = snapshot(temp / "staging");
    }
    ~InstallBesideFiles() override { EXPECT_EQ(snapshot(temp / "staging"), before); }

    std::map<std::string, std::string> before;
};

TEST_F(InstallBesideFiles, succeeds) {
    addDefinition(source, "lora/demo/th1");
    EXPECT_EQ(install().out, "installed lora/demo/th1\n");
    EXPECT_EQ(treeOf(temp / "custom/lora/demo"), (std::set<std::string>{"th1-decoder", "th1.json"}));
}

TEST_F(InstallBesideFiles, fails) {
    addDefinition(source, "lora/demo/th1");
    source.definition("lora/demo/th2", "{");
    EXPECT_EQ(install().status, 5);
}

TEST_F(InstallBesideFiles, hasNothingToDo) {
    EXPECT_EQ(install().out, "nothing to install\n");
}

TEST_F(Install, removesWhatAKilledOneHasLeftInStaging) {
    addDefinition(source, "lora/demo/th1");
    writeFile(temp / "staging/scada-install-a1B2c3/lora/demo/x.json", "{}");
    chmod((temp / "staging/scada-install-a1B2c3").c_str(), 0700);
    EXPECT_EQ(install().out, "installed lora/demo/th1\n");
    EXPECT_EQ(treeOf(temp / "staging"), std::set<std::string>{});
}

TEST_F(Install, refusesWhatTheLibraryWouldThrowAbout) {
    addDefinition(source, "lora/demo/a");
    source.definition("lora/demo/deep", nestedArrays(NESTING_LIMIT + 1));
    addDefinition(custom, "lora/demo/th1");
    expectRefusal({}, 1,
                  "$T/source/lora/demo/deep.json: error: Exceeded stackLimit in readValue(). [definition/too-deep]\n");
    EXPECT_FALSE(std::filesystem::exists(temp / "staging"));
}

TEST_F(Install, refusesMoreThanThereIsRoomFor) {
    addDefinition(source, "lora/demo/th1");
    std::filesystem::resize_file(temp / "source/lora/demo/th1.js", FOUR_TERABYTES);
    const ToolRun result = install({"--max-decoder", "8796093022208", "--max-source", "8796093022208"});
    EXPECT_EQ(result.status, 5);
    EXPECT_THAT(result.out,
                MatchesRegex("[$]T/staging: error: There is not enough free space for --staging-dir: 4398046527488 "
                             "bytes needed, [0-9]+ available[.] \\[install/no-space\\]\n    " +
                             remedyOf("install/no-space") + "\n"));
    EXPECT_EQ(result.err, refusal(1));
    EXPECT_EQ(treeOf(temp / "custom"), std::set<std::string>{});
}

// Returns `text` with "T" in place of each time.
std::string withoutTime(const std::string& text) {
    return std::regex_replace(text, std::regex("[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}"), "T");
}

TEST_F(Install, waitsForNobodyWhoHoldsTheLock) {
    addDefinition(source, "lora/demo/th1");
    const int descriptor = open((temp / "custom.lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    struct flock whole {};
    whole.l_type = F_WRLCK;
    ASSERT_EQ(fcntl(descriptor, F_SETLK, &whole), 0);
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{"install", temp / "source"},
                                                      {"remove", "lora/demo/th1"},
                                                      {"remove", "--all", "--yes"}}) {
        const ToolRun result = run(arguments);
        EXPECT_EQ(result.status, 6);
        EXPECT_EQ(result.out, "");
        const std::string busy = "another operation is running (process " + std::to_string(getpid()) +
                                 ", started T); it holds the lock file [$T/custom.lock]";
        EXPECT_EQ(withoutTime(result.err), "scada-sensors: " + busy + "\n");
        std::vector<std::string> forPrograms = arguments;
        forPrograms.emplace_back("--json");
        const ToolRun json = run(forPrograms);
        Json::Value expected = envelope(6);
        expected["error"] = busy;
        EXPECT_EQ(json.status, 6);
        EXPECT_EQ(parsed(withoutTime(json.out)), expected);
    }
    close(descriptor);
    EXPECT_EQ(install().status, 0);
}

// Locks the file and stops. The caller ends the process.
pid_t startStoppedHolder(const std::string& file) {
    const pid_t holder = fork();
    if (holder == 0) {
        const int descriptor = open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        struct flock whole {};
        whole.l_type = F_WRLCK;
        if (fcntl(descriptor, F_SETLK, &whole) == 0)
            raise(SIGSTOP);
        _exit(1);
    }
    int status = 0;
    waitpid(holder, &status, WUNTRACED);
    EXPECT_TRUE(WIFSTOPPED(status));
    return holder;
}

TEST_F(Install, namesAStoppedHolderOfTheLock) {
    addDefinition(source, "lora/demo/th1");
    const std::time_t before = std::time(nullptr);
    const pid_t holder = startStoppedHolder(temp / "custom.lock");
    const ToolRun result = install();
    kill(holder, SIGKILL);
    waitpid(holder, nullptr, 0);
    const std::string number = std::to_string(holder);
    EXPECT_EQ(result.status, 6);
    EXPECT_EQ(withoutTime(result.err), "scada-sensors: another operation is stopped (process " + number +
                                           ", started T); it holds the lock file [$T/custom.lock]. Let it go on with "
                                           "\"kill -CONT " +
                                           number + "\", or end it with \"kill -KILL " + number + "\".\n");
    struct tm told {};
    const std::size_t at = result.err.find("started ");
    ASSERT_NE(at, std::string::npos);
    ASSERT_NE(strptime(result.err.c_str() + at, "started %Y-%m-%d %H:%M:%S", &told), nullptr);
    told.tm_isdst = -1;
    // The system counts in ticks from a start that it has rounded to a second.
    EXPECT_NEAR(static_cast<double>(std::mktime(&told)), static_cast<double>(before), 5);
    EXPECT_EQ(install().status, 0);
}

TEST_F(Install, isNotBlockedByAReaderOfItsDirectories) {
    addDefinition(source, "lora/demo/th1");
    makeDir(temp / "staging");
    std::vector<int> descriptors;
    for (const char* directory : {"custom", "staging"}) {
        descriptors.push_back(open((temp / directory).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        ASSERT_EQ(flock(descriptors.back(), LOCK_EX), 0);
    }
    EXPECT_EQ(install().status, 0);
    EXPECT_EQ(run({"remove", "--all", "--yes"}).status, 0);
    for (const int descriptor : descriptors)
        close(descriptor);
}

TEST_F(Install, keepsItsLockFilesFromReaders) {
    addDefinition(source, "lora/demo/th1");
    writeFile(temp / "custom.lock", "");
    chmod((temp / "custom.lock").c_str(), 0666);
    const mode_t before = umask(0);
    EXPECT_EQ(install().status, 0);
    umask(before);
    for (const char* file : {"custom.lock", "staging.lock"}) {
        struct stat status {};
        ASSERT_EQ(stat((temp / file).c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777U, 0600U) << file;
    }
}

TEST_F(Install, needsItsLockFile) {
    makeDir(temp / "custom.lock");
    const ToolRun result = install();
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "scada-sensors: cannot open the lock file [$T/custom.lock]: Is a directory\n");
}

// Each path of the custom directory has its own lock file next to it.
class CustomDirectoryWithTwoPaths : public Install, public ::testing::WithParamInterface<const char*> {
protected:
    void SetUp() override {
        addDefinition(source, "lora/demo/th1");
        ASSERT_TRUE(mountPrivately(temp / "disk", "size=1m"));
        makeDir(temp / "disk/storage");
        makeDir(temp / "bound");
        ASSERT_EQ(mount((temp / "disk/storage").c_str(), (temp / "bound").c_str(), nullptr, MS_BIND, nullptr), 0);
    }
    void TearDown() override {
        umount((temp / "bound").c_str());
        umount((temp / "disk").c_str());
    }
};

TEST_P(CustomDirectoryWithTwoPaths, hasOneLock) {
    EXPECT_EQ(install({"--custom-dir", temp / GetParam()}).status, 0);
    const int descriptor = open((temp / "bound/.scada-sensors.lock").c_str(), O_RDWR | O_CLOEXEC);
    struct flock whole {};
    whole.l_type = F_WRLCK;
    ASSERT_EQ(fcntl(descriptor, F_SETLK, &whole), 0);
    const ToolRun result = install({"--custom-dir", temp / GetParam()});
    EXPECT_EQ(result.status, 6);
    EXPECT_NE(result.err.find("it holds the lock file [$T/" + std::string(GetParam()) + "/.scada-sensors.lock]"),
              std::string::npos)
        << result.err;
    close(descriptor);
    EXPECT_EQ(run({"remove", "--all", "--yes", "--custom-dir", temp / GetParam()}).status, 0);
}

INSTANTIATE_TEST_SUITE_P(Tool, CustomDirectoryWithTwoPaths,
                         ::testing::ValuesIn(whereMountable<const char*>({"bound", "disk/storage"})),
                         [](const auto& row) { return row.param[0] == 'b' ? "mounted" : "original"; });
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(CustomDirectoryWithTwoPaths);

struct UntrustedRow : NamedRow {
    const char* directory; ///< in the temporary directory
    mode_t mode;
};

class UntrustedDirectory : public Install, public ::testing::WithParamInterface<UntrustedRow> {};

TEST_P(UntrustedDirectory, isRefused) {
    addDefinition(source, "lora/demo/th1");
    makeDir(temp / "open/custom");
    makeDir(temp / "open/staging");
    const std::string directory = temp / GetParam().directory;
    chmod(directory.c_str(), GetParam().mode);
    const std::vector<std::string> options = {"--custom-dir", temp / "open/custom", "--staging-dir",
                                              temp / "open/staging"};
    const ToolRun result = install(options);
    EXPECT_EQ(result.status, 5);
    EXPECT_NE(result.out.find("[$T/" + std::string(GetParam().directory) +
                              "] may be written by others. [install/untrusted-directory]\n    " +
                              remedyOf("install/untrusted-directory")),
              std::string::npos)
        << result.out;
    EXPECT_EQ(treeOf(temp / "open"), (std::set<std::string>{"custom", "staging"}));
    chmod(directory.c_str(), GetParam().mode | S_ISVTX);
    EXPECT_EQ(install(options).status, 0);
}

INSTANTIATE_TEST_SUITE_P(Tool, UntrustedDirectory,
                         ::testing::Values(UntrustedRow{"custom", "open/custom", 0777},
                                           UntrustedRow{"staging", "open/staging", 0777},
                                           UntrustedRow{"above_both", "open", 0777},
                                           UntrustedRow{"writable_only", "open/custom", 0733 | S_IROTH}),
                         rowName);

/// A storage that belongs to an account.
class StorageOfAnAccount : public Install {
protected:
    StorageOfAnAccount() {
        addDefinition(source, "lora/demo/th1");
        chmod(temp.path().c_str(), 0755);
        // A process that has changed its user cannot be traced, not even by the search for leaks.
        setenv("LSAN_OPTIONS", "detect_leaks=0", 1);
        for (const char* directory : {"account", "account/custom"}) {
            makeDir(temp / directory);
            EXPECT_EQ(chown((temp / directory).c_str(), ACCOUNT, ACCOUNT), 0);
        }
    }
    ~StorageOfAnAccount() override { unsetenv("LSAN_OPTIONS"); }

    ToolRun runThere(std::vector<std::string> arguments) const {
        const std::vector<std::string> options = {"--custom-dir", temp / "account/custom", "--staging-dir",
                                                  temp / "account/staging"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return run(arguments);
    }
    void expectOwnedByTheAccount() const {
        for (const auto& entry : std::filesystem::recursive_directory_iterator(temp / "account")) {
            struct stat status {};
            EXPECT_EQ(lstat(entry.path().c_str(), &status), 0);
            EXPECT_EQ(status.st_uid, ACCOUNT) << entry.path();
            EXPECT_EQ(status.st_gid, ACCOUNT) << entry.path();
        }
    }

    static constexpr uid_t ACCOUNT = 1;
};

TEST_F(StorageOfAnAccount, isChangedByRootAsTheAccount) {
    const std::string upload = temp / "source";
    EXPECT_EQ(runThere({"check", upload}).out, "0 faults in 1 definition\n");
    EXPECT_EQ(runThere({"install", upload, "--dry-run"}).status, 0);
    EXPECT_EQ(runThere({"install", upload}).out, "installed lora/demo/th1\n");
    expectOwnedByTheAccount();
    EXPECT_EQ(runThere({"remove", "lora/demo/th1"}).out, "removed lora/demo/th1\n");
    EXPECT_EQ(runThere({"rollback"}).out, "restored lora/demo/th1\n");
    EXPECT_EQ(runThere({"recover"}).out, "nothing to recover\n");
    EXPECT_EQ(runThere({"remove", "--all", "--yes"}).status, 0);
    expectOwnedByTheAccount();
}

// The account owns the parent directory and can put links to anything there.
TEST_F(StorageOfAnAccount, leadsRootNowhereElse) {
    makeDir(temp / "roots");
    writeFile(temp / "roots/file", "");
    writeFile(temp / "account/custom/notes", "");
    const struct {
        const char* name;
        const char* err;
    } links[] = {
        {"staging", "cannot open the lock file [$T/roots.lock]: Permission denied\n"},
        {"staging.lock", "cannot open the lock file [$T/account/staging.lock]: Too many levels of symbolic links\n"},
        {"custom.lock", "cannot open the lock file [$T/account/custom.lock]: Too many levels of symbolic links\n"},
        {"custom.generations", "cannot make a directory in [$T/account/custom.generations]: Permission denied\n"
                               "    nothing has been changed\n"},
    };
    for (const auto& row : links) {
        SCOPED_TRACE(row.name);
        const std::string link = temp / (std::string("account/") + row.name);
        removeTree(link);
        makeLink(temp / "roots", link);
        // The preflight of a source finds that the storage cannot be copied there.
        const bool copies = row.name == std::string("custom.generations");
        const std::string err = std::string("scada-sensors: ") + row.err;
        const ToolRun installation = runThere({"install", temp / "source"});
        EXPECT_EQ(installation.status, copies ? 5 : 1);
        EXPECT_EQ(installation.err, copies ? refusal(1) : err);
        const ToolRun removal = runThere({"remove", "--all", "--yes"});
        EXPECT_EQ(removal.status, 1);
        EXPECT_EQ(removal.err, err);
        EXPECT_EQ(treeOf(temp / "roots"), std::set<std::string>{"file"});
        EXPECT_EQ(treeOf(temp / "account/custom"), std::set<std::string>{"notes"});
        removeTree(link);
    }
}

// The owner can change its mode and its entries at any time.
TEST_F(Install, refusesADirectoryOfAnotherUser) {
    addDefinition(source, "lora/demo/th1");
    const struct {
        uid_t number;
        const char* name;
    } others[] = {{4711, "4711"}, {1, "daemon"}};
    makeDir(temp / "staging");
    for (const auto& other : others) {
        ASSERT_EQ(chown((temp / "staging").c_str(), other.number, 0), 0);
        const ToolRun result = install();
        EXPECT_EQ(result.status, 5);
        EXPECT_EQ(result.out, withRemedies("$T/staging: error: --staging-dir [$T/staging] can be changed by others: "
                                           "[$T/staging] belongs to the user [" +
                                           std::string(other.name) + "]. [install/untrusted-directory]\n"));
    }
}

struct UnsafeRow : NamedRow {
    std::vector<std::string> arguments; ///< "$T" stands for the temporary directory
    std::vector<std::string> texts;
};

// Each text starts with the directory that it describes.
std::string directoryOf(const std::string& text) {
    const std::size_t start = text.find('[') + 1;
    return text.substr(start, text.find(']') - start);
}

// An empty path is not a place.
std::string placeOf(const std::string& directory) {
    return directory.empty() ? "" : directory + ": ";
}

class UnsafeDirectory : public ToolTest, public ::testing::WithParamInterface<UnsafeRow> {
protected:
    UnsafeDirectory() {
        StorageBuilder source(temp / "source");
        addDefinition(source, "lora/demo/th1");
        addDefinition(custom, "lora/demo/old");
        writeList({});
        makeDir(temp / "source/inner");
        makeLink(temp / "custom", temp / "link");
        makeLink("loop", temp / "loop");
        makeDir(temp / "standing");
        for (const std::string& argument : GetParam().arguments)
            arguments.push_back(replaced(argument, "$T", temp.path()));
        for (const std::string& text : GetParam().texts)
            findings += withRemedies(placeOf(directoryOf(text)) + "error: " + text + " [install/unsafe-directory]\n");
    }

    std::vector<std::string> arguments;
    std::string findings;
};

TEST_P(UnsafeDirectory, isRefused) {
    const auto before = snapshot(temp.path());
    const bool removes = arguments[0] == "remove";
    const ToolRun result = run(arguments);
    EXPECT_EQ(result.status, 5);
    EXPECT_EQ(removes ? result.err : result.out, findings);
    EXPECT_EQ(removes ? result.out : result.err, removes ? "" : refusal(GetParam().texts.size()));
    if (!removes) {
        arguments.insert(arguments.begin() + 1, "--dry-run");
        const ToolRun dryRun = run(arguments);
        EXPECT_EQ(dryRun.status, 5);
        EXPECT_EQ(dryRun.out, findings + "0 definitions\n");
        EXPECT_EQ(dryRun.err, result.err);
    }
    EXPECT_EQ(snapshot(temp.path()), before);
}

constexpr const char* STAGING = "--staging-dir";
constexpr const char* CUSTOM = "--custom-dir";

INSTANTIATE_TEST_SUITE_P(
    Tool, UnsafeDirectory,
    ::testing::Values(
        UnsafeRow{"staging_empty", {"install", "$T/source", STAGING, ""}, {"--staging-dir [] is empty."}},
        UnsafeRow{"custom_empty", {"install", "$T/source", CUSTOM, ""}, {"--custom-dir [] is empty."}},
        UnsafeRow{"staging_with_blank",
                  {"install", "$T/source", STAGING, "$T/a b"},
                  {"--staging-dir [$T/a b] contains a blank or a character that a shell interprets."}},
        UnsafeRow{"custom_with_blank",
                  {"remove", "--all", "--yes", CUSTOM, "$T/a b"},
                  {"--custom-dir [$T/a b] contains a blank or a character that a shell interprets."}},
        UnsafeRow{"custom_with_semicolon",
                  {"remove", "lora/demo/old", CUSTOM, "$T/a;b"},
                  {"--custom-dir [$T/a;b] contains a blank or a character that a shell interprets."}},
        UnsafeRow{"staging_with_wildcard",
                  {"install", "$T/source", STAGING, "$T/*"},
                  {"--staging-dir [$T/*] contains a blank or a character that a shell interprets."}},
        UnsafeRow{"staging_with_newline",
                  {"install", "$T/source", STAGING, "$T/a\nb"},
                  {"--staging-dir [$T/a\\x0ab] contains a blank or a character that a shell interprets."}},
        UnsafeRow{"staging_with_dollar",
                  {"install", "$T/source", STAGING, "/tmp/$HOME"},
                  {"--staging-dir [/tmp/$HOME] contains a blank or a character that a shell interprets."}},
        UnsafeRow{"staging_with_dash",
                  {"install", "$T/source", STAGING, "-a"},
                  {"--staging-dir [-a] begins with a dash, which makes it an option of the programs that work on it."}},
        UnsafeRow{"custom_with_dash",
                  {"remove", "lora/demo/old", CUSTOM, "-a"},
                  {"--custom-dir [-a] begins with a dash, which makes it an option of the programs that work on it."}},
        UnsafeRow{"source_with_dash",
                  {"install", "--", "-u"},
                  {"SRC [-u] begins with a dash, which makes it an option of the programs that work on it."}},
        UnsafeRow{"staging_in_loop_of_links",
                  {"install", "$T/source", STAGING, "$T/loop/staging"},
                  {"--staging-dir [$T/loop/staging] cannot be resolved: Too many levels of symbolic links"}},
        UnsafeRow{"custom_is_loop_of_links",
                  {"remove", "--all", "--yes", CUSTOM, "$T/loop"},
                  {"--custom-dir [$T/loop] cannot be resolved: Too many levels of symbolic links"}},
        UnsafeRow{"source_is_loop_of_links",
                  {"install", "$T/loop"},
                  {"SRC [$T/loop] cannot be resolved: Too many levels of symbolic links"}},
        UnsafeRow{"default_is_loop_of_links",
                  {"install", "$T/source", "--default-dir", "$T/loop"},
                  {"--default-dir [$T/loop] cannot be resolved: Too many levels of symbolic links"}},
        UnsafeRow{"staging_root", {"install", "$T/source", STAGING, "/"}, {"--staging-dir [/] is the root directory."}},
        UnsafeRow{"custom_root_spelt_otherwise",
                  {"remove", "--all", "--yes", CUSTOM, "/tmp/../."},
                  {"--custom-dir [/tmp/../.] is the root directory."}},
        UnsafeRow{"staging_is_custom",
                  {"install", "$T/source", STAGING, "$T/custom"},
                  {"--staging-dir [$T/custom] is the same directory as --custom-dir [$T/custom]."}},
        UnsafeRow{"staging_is_custom_behind_link",
                  {"install", "$T/source", STAGING, "$T/link"},
                  {"--staging-dir [$T/link] is the same directory as --custom-dir [$T/custom]."}},
        UnsafeRow{"staging_inside_custom_behind_link",
                  {"remove", "--all", "--yes", STAGING, "$T/link/new"},
                  {"--staging-dir [$T/link/new] is inside --custom-dir [$T/custom]."}},
        UnsafeRow{"staging_around_custom",
                  {"install", "$T/source", STAGING, "$T/custom/.."},
                  {"--staging-dir [$T/custom/..] contains --custom-dir [$T/custom].",
                   "--staging-dir [$T/custom/..] contains SRC [$T/source].",
                   "--staging-dir [$T/custom/..] contains --default-dir [$T/default]."}},
        UnsafeRow{"staging_is_source_with_slash",
                  {"install", "$T/source/", STAGING, "$T/source"},
                  {"--staging-dir [$T/source] is the same directory as SRC [$T/source/]."}},
        UnsafeRow{"staging_is_source_through_dots",
                  {"install", "$T/source", STAGING, "$T//standing/../source"},
                  {"--staging-dir [$T//standing/../source] is the same directory as SRC [$T/source]."}},
        UnsafeRow{"staging_inside_source",
                  {"install", "$T/source", STAGING, "$T/source/inner"},
                  {"--staging-dir [$T/source/inner] is inside SRC [$T/source]."}},
        UnsafeRow{"staging_around_source",
                  {"install", "$T/source/inner", STAGING, "$T/source"},
                  {"--staging-dir [$T/source] contains SRC [$T/source/inner]."}},
        UnsafeRow{"staging_is_default",
                  {"install", "$T/source", STAGING, "$T/default"},
                  {"--staging-dir [$T/default] is the same directory as --default-dir [$T/default]."}},
        UnsafeRow{"custom_is_default",
                  {"remove", "--all", "--yes", "--default-dir", "$T/custom"},
                  {"--custom-dir [$T/custom] is the same directory as --default-dir [$T/custom]."}},
        UnsafeRow{"custom_is_default_behind_link",
                  {"install", "$T/source", "--default-dir", "$T/link"},
                  {"--custom-dir [$T/custom] is the same directory as --default-dir [$T/link]."}},
        UnsafeRow{"custom_inside_default",
                  {"remove", "lora/demo/old", CUSTOM, "$T/default/new"},
                  {"--custom-dir [$T/default/new] is inside --default-dir [$T/default]."}},
        UnsafeRow{"custom_around_default",
                  {"install", "$T/source", "--default-dir", "$T/custom/lora"},
                  {"--custom-dir [$T/custom] contains --default-dir [$T/custom/lora]."}}),
    rowName);

} // namespace
