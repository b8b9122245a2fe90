#include "FakeSupport.h"
#include "NamedRow.h"
#include "TempDir.h"
#include "files.h"
#include "row_name.h"
#include "unprivileged.h"

#include <scada/FsNode.h>

#include <dirent.h>
#include <dlfcn.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include <atomic>
#include <functional>
#include <memory>
#include <stdexcept>
#include <type_traits>

namespace {

using namespace Kelvra::SCADA::Test;
using Kelvra::SCADA::FsNode;
using Command = FakeSupport::Command;
using Fault = FakeSupport::Fault;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

static_assert(FsNode::MODE_NONE == 0 && FsNode::MODE_DIR == 1 && FsNode::MODE_FILE == 2 && FsNode::MODE_OTHER == 4);
static_assert(std::is_convertible<const std::string&, FsNode>::value);
static_assert(sizeof(FsNode) == sizeof(std::string), "one path and nothing else");
static_assert(!std::is_polymorphic<FsNode>::value);

FsNode::Mode kindsOf(int bits) {
    return static_cast<FsNode::Mode>(bits);
}

// The number of times that this program's code has opened a directory.
std::atomic<long>& directoriesOpened() {
    static std::atomic<long> count{0};
    return count;
}

} // namespace

// Replaces the system's own function.
extern "C" __attribute__((visibility("default"))) DIR* opendir(const char* path) {
    static auto* const real = reinterpret_cast<decltype(&opendir)>(dlsym(RTLD_NEXT, "opendir"));
    ++directoriesOpened();
    return real(path);
}

namespace {

struct DeviceNode {
    std::string directory;
    std::string name;
};

struct CloseDirectory {
    void operator()(DIR* directory) const { closedir(directory); }
};

// Returns all names except "." and "..", in the directory's own order.
std::vector<std::string> namesIn(const std::string& path) {
    const std::unique_ptr<DIR, CloseDirectory> directory(opendir(path.c_str()));
    if (!directory)
        throw std::runtime_error("cannot list " + path);
    std::vector<std::string> names;
    while (const dirent* entry = readdir(directory.get())) {
        const std::string name = entry->d_name;
        if (name != "." && name != "..")
            names.push_back(name);
    }
    return names;
}

DeviceNode existingDevice(mode_t type) {
    for (const std::string& name : namesIn("/dev")) {
        struct stat status {};
        if (lstat(("/dev/" + name).c_str(), &status) == 0 && (status.st_mode & S_IFMT) == type)
            return {"/dev", name};
    }
    throw std::runtime_error("device nodes can neither be made here, nor is there one of this type in /dev");
}

// A node made by the test if that is allowed, otherwise one of the system's. Nothing opens it.
DeviceNode deviceNode(const TempDir& dir, mode_t type) {
    if (mknod((dir / "node").c_str(), type | S_IRUSR, makedev(1, 3)) == 0)
        return {dir.path(), "node"};
    return existingDevice(type);
}

DeviceNode makeNode(const TempDir& dir, mode_t type) {
    const std::string path = dir / "node";
    if (type == S_IFCHR || type == S_IFBLK)
        return deviceNode(dir, type);
    if (type == S_IFDIR)
        makeDir(path);
    else if (type == S_IFREG)
        writeFile(path, "text");
    else if (type == S_IFIFO)
        makeFifo(path);
    else if (type == S_IFSOCK)
        makeSocket(path);
    else
        makeLink("anywhere", path);
    return {dir.path(), "node"};
}

// ---- getMode ----

struct ModeRow : NamedRow {
    std::function<std::string(const TempDir&)> make; ///< returns the path to classify
    FsNode::Mode mode;
};

std::function<std::string(const TempDir&)> node(mode_t type) {
    return [type](const TempDir& dir) {
        const DeviceNode made = makeNode(dir, type);
        return made.directory + "/" + made.name;
    };
}

std::function<std::string(const TempDir&)> linkTo(mode_t type) {
    return [type](const TempDir& dir) {
        makeLink(node(type)(dir), dir / "link");
        makeLink("link", dir / "linkToLink");
        return dir / "linkToLink";
    };
}

std::function<std::string(const TempDir&)> path(const std::string& absolute) {
    return [absolute](const TempDir&) { return absolute; };
}

std::function<std::string(const TempDir&)> below(const std::string& relative) {
    return [relative](const TempDir& dir) {
        writeFile(dir / "file", "");
        return dir / relative;
    };
}

const ModeRow MODE_ROWS[] = {
    {"empty_path", path(""), FsNode::MODE_NONE},
    {"root", path("/"), FsNode::MODE_DIR},
    {"dev_null", path("/dev/null"), FsNode::MODE_OTHER},
    {"missing", below("missing"), FsNode::MODE_NONE},
    {"below_a_file", below("file/x"), FsNode::MODE_NONE},
    {"file_with_trailing_slash", below("file/"), FsNode::MODE_NONE},
    {"directory_with_trailing_slashes", below("//"), FsNode::MODE_DIR},
    {"dot_dot", below("../"), FsNode::MODE_DIR},
    {"name_too_long", below(std::string(256, 'x')), FsNode::MODE_NONE},
    {"directory", node(S_IFDIR), FsNode::MODE_DIR},
    {"regular_file", node(S_IFREG), FsNode::MODE_FILE},
    {"fifo", node(S_IFIFO), FsNode::MODE_OTHER},
    {"character_device", node(S_IFCHR), FsNode::MODE_OTHER},
    {"block_device", node(S_IFBLK), FsNode::MODE_DIR},
    {"socket", node(S_IFSOCK), FsNode::MODE_DIR},
    {"dangling_link", node(S_IFLNK), FsNode::MODE_NONE},
    {"link_to_directory", linkTo(S_IFDIR), FsNode::MODE_DIR},
    {"link_to_regular_file", linkTo(S_IFREG), FsNode::MODE_FILE},
    {"link_to_fifo", linkTo(S_IFIFO), FsNode::MODE_OTHER},
    {"link_to_character_device", linkTo(S_IFCHR), FsNode::MODE_OTHER},
    {"link_to_block_device", linkTo(S_IFBLK), FsNode::MODE_DIR},
    {"link_to_socket", linkTo(S_IFSOCK), FsNode::MODE_DIR},
    {"link_to_itself",
     [](const TempDir& dir) {
         makeLink("loop", dir / "loop");
         return dir / "loop";
     },
     FsNode::MODE_NONE},
};

class FsNodeMode : public ::testing::TestWithParam<ModeRow> {};
INSTANTIATE_TEST_SUITE_P(Rows, FsNodeMode, ::testing::ValuesIn(MODE_ROWS), rowName);

TEST_P(FsNodeMode, classifies) {
    const TempDir dir;
    FsNode fsNode(GetParam().make(dir));
    EXPECT_EQ(fsNode.getMode(), GetParam().mode);
}

TEST(FsNodeModeFresh, everyCallLooksAgain) {
    const TempDir dir;
    FsNode fsNode(dir / "x");
    EXPECT_EQ(fsNode.getMode(), FsNode::MODE_NONE);
    writeFile(dir / "x", "");
    EXPECT_EQ(fsNode.getMode(), FsNode::MODE_FILE);
    removeTree(dir / "x");
    makeDir(dir / "x");
    EXPECT_EQ(fsNode.getMode(), FsNode::MODE_DIR);
}

TEST(FsNodeModeFresh, nodeKeepsACopyOfItsPath) {
    std::string text = "/";
    FsNode fsNode(text);
    text = "/missing";
    EXPECT_EQ(fsNode.getMode(), FsNode::MODE_DIR);
}

TEST(FsNodeModeFresh, behindAClosedDirectoryNothingIsSeen) {
    const TempDir dir;
    writeFile(dir / "closed/file", "");
    EXPECT_TRUE(runUnprivileged(dir.path(), [&] {
        chmod((dir / "closed").c_str(), 0);
        return FsNode(dir / "closed/file").getMode() == FsNode::MODE_NONE &&
               FsNode(dir / "closed").getMode() == FsNode::MODE_DIR;
    }));
}

// ---- realPath ----

struct RealPathRow : NamedRow {
    const char* path; ///< below the temporary directory, which holds d/file, link -> d and dangling
    const char* resolved;
};

const RealPathRow REAL_PATH_ROWS[] = {
    {"plain_file", "/d/file", "/d/file"},
    {"directory", "/d", "/d"},
    {"trailing_slash", "/d/", "/d"},
    {"dots_and_slashes", "//d/.././d//file", "/d/file"},
    {"through_a_link", "/link/file", "/d/file"},
    {"link_itself", "/link", "/d"},
    {"missing", "/missing", nullptr},
    {"missing_parent", "/missing/../d", nullptr},
    {"below_a_file", "/d/file/x", nullptr},
    {"dangling_link", "/dangling", nullptr},
    {"link_to_itself", "/loop", nullptr},
};

class FsNodeRealPath : public ::testing::TestWithParam<RealPathRow> {
protected:
    FsNodeRealPath() {
        writeFile(dir / "d/file", "");
        makeLink("d", dir / "link");
        makeLink("nowhere", dir / "dangling");
        makeLink("loop", dir / "loop");
    }
    TempDir dir;
};
INSTANTIATE_TEST_SUITE_P(Rows, FsNodeRealPath, ::testing::ValuesIn(REAL_PATH_ROWS), rowName);

TEST_P(FsNodeRealPath, resolves) {
    const bool exists = GetParam().resolved != nullptr;
    std::string out = "before";
    EXPECT_EQ(FsNode(dir.path() + GetParam().path).realPath(&out), exists);
    EXPECT_EQ(out, exists ? dir.path() + GetParam().resolved : "before");
}

TEST_P(FsNodeRealPath, withoutOutputTestsExistence) {
    EXPECT_EQ(FsNode(dir.path() + GetParam().path).realPath(nullptr), GetParam().resolved != nullptr);
}

TEST(FsNodeRealPathRelative, startsAtTheWorkingDirectory) {
    std::string out;
    EXPECT_TRUE(FsNode(".").realPath(&out));
    const std::unique_ptr<char, decltype(&std::free)> here(realpath(".", nullptr), &std::free);
    EXPECT_EQ(out, here.get());
}

TEST(FsNodeRealPathRelative, emptyPathDoesNotResolve) {
    std::string out = "before";
    EXPECT_FALSE(FsNode("").realPath(&out));
    EXPECT_EQ(out, "before");
}

// ---- list ----

struct KindRow : NamedRow {
    mode_t type;
    int needed; ///< the kinds that must all be requested
};

const KindRow KIND_ROWS[] = {
    {"directory", S_IFDIR, FsNode::MODE_DIR},
    {"regular_file", S_IFREG, FsNode::MODE_FILE},
    {"fifo", S_IFIFO, FsNode::MODE_OTHER},
    {"character_device", S_IFCHR, FsNode::MODE_OTHER},
    {"block_device", S_IFBLK, FsNode::MODE_DIR | FsNode::MODE_OTHER},
    {"symbolic_link", S_IFLNK, FsNode::MODE_FILE | FsNode::MODE_OTHER},
    {"socket", S_IFSOCK, FsNode::MODE_DIR | FsNode::MODE_FILE},
};

class FsNodeListKinds : public ::testing::TestWithParam<KindRow> {};
INSTANTIATE_TEST_SUITE_P(Types, FsNodeListKinds, ::testing::ValuesIn(KIND_ROWS), rowName);

TEST_P(FsNodeListKinds, needsAllItsBits) {
    const TempDir dir;
    const DeviceNode made = makeNode(dir, GetParam().type);
    for (int bits = 0; bits < 8; ++bits) {
        std::list<std::string> out = {"before"};
        FsNode(made.directory).list(&out, made.name, kindsOf(bits));
        if ((GetParam().needed & ~bits) == 0) {
            EXPECT_THAT(out, ElementsAre(made.name)) << bits;
        } else {
            EXPECT_THAT(out, IsEmpty()) << bits;
        }
    }
}

struct PatternRow : NamedRow {
    const char* pattern;
    std::vector<std::string> names; ///< out of ALL_NAMES
};

const char* const ALL_NAMES[] = {"a",   "b",   "ab",  "A",       "a.json", ".json", ".hidden", ".hidden.json",
                                 "...", "..x", "*",   "a.json~", "a\nb",   "a\\b",  "[x]",     "x.JSON",
                                 "a b", "?.c", "json"};

const PatternRow PATTERN_ROWS[] = {
    {"everything", "*", {std::begin(ALL_NAMES), std::end(ALL_NAMES)}},
    {"suffix", "*.json", {"a.json", ".json", ".hidden.json"}},
    {"one_character", "?", {"a", "b", "A", "*"}},
    {"leading_dot_is_any_character", "?json", {".json"}},
    {"bracket", "[ab]", {"a", "b"}},
    {"negated_bracket", "[!ab]", {"A", "*"}},
    {"exact_name", "a", {"a"}},
    {"escaped_star", "\\*", {"*"}},
    {"escaped_backslash", "a\\\\b", {"a\\b"}},
    {"dots_only", ".*", {".json", ".hidden", ".hidden.json", "...", "..x"}},
    {"empty_pattern", "", {}},
    {"nothing_matches", "zzz", {}},
    {"dot_is_never_listed", ".", {}},
    {"dot_dot_is_never_listed", "..", {}},
};

class FsNodeListPattern : public ::testing::TestWithParam<PatternRow> {};
INSTANTIATE_TEST_SUITE_P(Rows, FsNodeListPattern, ::testing::ValuesIn(PATTERN_ROWS), rowName);

TEST_P(FsNodeListPattern, selectsNames) {
    const TempDir dir;
    for (const char* name : ALL_NAMES)
        writeFile(dir / name, "");
    std::list<std::string> out;
    FsNode(dir.path()).list(&out, GetParam().pattern, FsNode::MODE_FILE);
    EXPECT_THAT(out, ::testing::UnorderedElementsAreArray(GetParam().names));
}

TEST(FsNodeList, keepsTheDirectorysOrder) {
    const TempDir dir;
    for (int i = 0; i < 300; ++i) {
        const std::string name = std::to_string(i * 7919 % 1009);
        i % 3 == 0 ? makeDir(dir / name) : writeFile(dir / name, "");
    }
    std::vector<std::string> expected;
    for (const std::string& name : namesIn(dir.path())) {
        if (FsNode(dir / name).getMode() == FsNode::MODE_FILE)
            expected.push_back(name);
    }
    std::list<std::string> out;
    FsNode(dir.path()).list(&out, "*", FsNode::MODE_FILE);
    EXPECT_EQ(std::vector<std::string>(out.begin(), out.end()), expected);
    EXPECT_EQ(out.size(), 200U);
}

TEST(FsNodeList, withoutOutputOpensNothing) {
    std::list<std::string> out;
    FsNode("/").list(&out, "*", kindsOf(7));
    const long before = directoriesOpened();
    ASSERT_GT(before, 0) << "they are not counted";
    FsNode("/").list(nullptr, "*", kindsOf(7));
    FsNode("/missing").list(nullptr, "*", kindsOf(7));
    EXPECT_EQ(directoriesOpened(), before);
}

TEST(FsNodeList, linksAreJudgedThemselves) {
    const TempDir dir;
    writeFile(dir / "file", "");
    makeLink("file", dir / "linkToFile");
    makeDir(dir / "directory");
    makeLink("directory", dir / "linkToDirectory");
    std::list<std::string> out;
    FsNode(dir.path()).list(&out, "*", FsNode::MODE_FILE);
    EXPECT_THAT(out, ElementsAre("file"));
    FsNode(dir.path()).list(&out, "*", FsNode::MODE_DIR);
    EXPECT_THAT(out, ElementsAre("directory"));
    FsNode(dir.path()).list(&out, "link*", kindsOf(FsNode::MODE_FILE | FsNode::MODE_OTHER));
    EXPECT_THAT(out, UnorderedElementsAre("linkToDirectory", "linkToFile"));
}

struct NoListRow : NamedRow {
    const char* path;
};

class FsNodeListNothing : public ::testing::TestWithParam<NoListRow> {};
INSTANTIATE_TEST_SUITE_P(Rows, FsNodeListNothing,
                         ::testing::Values(NoListRow{"missing", "/missing"}, NoListRow{"file", "/file"},
                                           NoListRow{"empty_directory", "/empty"}, NoListRow{"dangling", "/dangling"},
                                           NoListRow{"fifo", "/fifo"}),
                         rowName);

TEST_P(FsNodeListNothing, emptiesTheOutput) {
    const TempDir dir;
    writeFile(dir / "file", "");
    makeDir(dir / "empty");
    makeLink("nowhere", dir / "dangling");
    makeFifo(dir / "fifo");
    std::list<std::string> out = {"before"};
    FsNode(dir.path() + GetParam().path).list(&out, "*", kindsOf(7));
    EXPECT_THAT(out, IsEmpty());
}

TEST(FsNodeList, emptyPathIsNoDirectory) {
    std::list<std::string> out = {"before"};
    FsNode("").list(&out, "*", kindsOf(7));
    EXPECT_THAT(out, IsEmpty());
}

TEST(FsNodeList, throughALinkToADirectory) {
    const TempDir dir;
    writeFile(dir / "d/file", "");
    makeLink("d", dir / "link");
    std::list<std::string> out;
    FsNode(dir / "link").list(&out, "*", FsNode::MODE_FILE);
    EXPECT_THAT(out, ElementsAre("file"));
}

TEST(FsNodeList, permissionsDecide) {
    const TempDir dir;
    writeFile(dir / "d/file", "");
    EXPECT_TRUE(runUnprivileged(dir.path(), [&] {
        const auto listed = [&](mode_t mode) {
            chmod((dir / "d").c_str(), mode);
            std::list<std::string> out = {"before"};
            FsNode(dir / "d").list(&out, "*", kindsOf(7));
            return out.size();
        };
        return listed(0) == 0 && listed(S_IXUSR) == 0 && listed(S_IRUSR) == 0 && listed(S_IRUSR | S_IXUSR) == 1;
    }));
}

// ---- the changing operations ----

class FsNodeChange : public SupportTest {
protected:
    static const std::vector<Command>& commands() { return FakeSupport::inst().commands; }
    void TearDown() override {
        EXPECT_THAT(FakeSupport::inst().logs, IsEmpty());
        EXPECT_THAT(FakeSupport::inst().asked, IsEmpty());
        SupportTest::TearDown();
    }
    TempDir dir;
};

TEST_F(FsNodeChange, copyFileCopies) {
    writeFile(dir / "a b", "text");
    EXPECT_TRUE(FsNode::copyFile(dir / "a b", dir / "$dst*"));
    EXPECT_THAT(commands(), ElementsAre(Command{"cp", {"-f", dir / "a b", dir / "$dst*"}}));
    EXPECT_EQ(readFile(dir / "$dst*"), "text");
}

TEST_F(FsNodeChange, copyFileReplacesAnOlderOne) {
    writeFile(dir / "src", "new");
    writeFile(dir / "dst", "older text");
    EXPECT_TRUE(FsNode::copyFile(dir / "src", dir / "dst"));
    EXPECT_EQ(readFile(dir / "dst"), "new");
}

TEST_F(FsNodeChange, copyFileFollowsALink) {
    writeFile(dir / "src", "text");
    makeLink("src", dir / "link");
    EXPECT_TRUE(FsNode::copyFile(dir / "link", dir / "dst"));
    EXPECT_EQ(snapshot(dir.path())["dst"], "text");
}

TEST_F(FsNodeChange, copyFileIntoADirectoryIsAFailure) {
    writeFile(dir / "src", "text");
    makeDir(dir / "dst");
    EXPECT_FALSE(FsNode::copyFile(dir / "src", dir / "dst"));
    EXPECT_EQ(readFile(dir / "dst/src"), "text");
}

TEST_F(FsNodeChange, copyFileIntoAMissingDirectoryIsAFailure) {
    writeFile(dir / "src", "text");
    EXPECT_FALSE(FsNode::copyFile(dir / "src", dir / "missing/dst"));
    EXPECT_THAT(commands(), ElementsAre(Command{"cp", {"-f", dir / "src", dir / "missing/dst"}}));
}

TEST_F(FsNodeChange, copyFileJudgesByTheDestinationAlone) {
    writeFile(dir / "src", "text");
    for (const Fault fault : {Fault::NOTHING, Fault::FAILURE}) {
        FakeSupport::inst().fault("cp", fault);
        EXPECT_FALSE(FsNode::copyFile(dir / "src", dir / "dst"));
    }
    writeFile(dir / "dst", "older");
    for (const Fault fault : {Fault::NOTHING, Fault::FAILURE}) {
        FakeSupport::inst().fault("cp", fault);
        EXPECT_TRUE(FsNode::copyFile(dir / "src", dir / "dst"));
        EXPECT_EQ(readFile(dir / "dst"), "older");
    }
}

TEST_F(FsNodeChange, copyFileTakesHalfAFileForDone) {
    writeFile(dir / "src", "text");
    FakeSupport::inst().fault("cp", Fault::HALF_FILE);
    EXPECT_TRUE(FsNode::copyFile(dir / "src", dir / "dst"));
    EXPECT_EQ(readFile(dir / "dst"), "te");
}

class FsNodeCopySource : public FsNodeChange, public ::testing::WithParamInterface<ModeRow> {};
INSTANTIATE_TEST_SUITE_P(Rows, FsNodeCopySource, ::testing::ValuesIn(MODE_ROWS), rowName);

TEST_P(FsNodeCopySource, onlyARegularFileIsCopied) {
    const TempDir source;
    const std::string src = GetParam().make(source);
    const bool isFile = GetParam().mode == FsNode::MODE_FILE;
    if (!isFile)
        FakeSupport::inst().fault("cp", Fault::NOTHING); // a real cp would wait for a FIFO's writer
    EXPECT_EQ(FsNode::copyFile(src, dir / "dst"), isFile);
    EXPECT_EQ(commands().size(), isFile ? 1U : 0U);
    EXPECT_EQ(treeOf(dir.path()).count("dst"), isFile ? 1U : 0U);
}

TEST_F(FsNodeChange, ensureDirExistsMakesParents) {
    EXPECT_TRUE(FsNode::ensureDirExists(dir / "a/b c/d"));
    EXPECT_THAT(commands(), ElementsAre(Command{"mkdir", {"-p", dir / "a/b c/d"}}));
    EXPECT_THAT(treeOf(dir.path()), ElementsAre("a", "a/b c", "a/b c/d"));
}

TEST_F(FsNodeChange, ensureDirExistsLeavesAFileAlone) {
    writeFile(dir / "file", "text");
    EXPECT_FALSE(FsNode::ensureDirExists(dir / "file"));
    EXPECT_FALSE(FsNode::ensureDirExists(dir / "file/below"));
    EXPECT_THAT(commands(),
                ElementsAre(Command{"mkdir", {"-p", dir / "file"}}, Command{"mkdir", {"-p", dir / "file/below"}}));
    EXPECT_EQ(readFile(dir / "file"), "text");
}

TEST_F(FsNodeChange, ensureDirExistsFailsOnTheEmptyPath) {
    EXPECT_FALSE(FsNode::ensureDirExists(""));
    EXPECT_THAT(commands(), ElementsAre(Command{"mkdir", {"-p", ""}}));
}

TEST_F(FsNodeChange, ensureDirExistsDoesNotTrustMkdir) {
    for (const Fault fault : {Fault::NOTHING, Fault::FAILURE}) {
        FakeSupport::inst().fault("mkdir", fault);
        EXPECT_FALSE(FsNode::ensureDirExists(dir / "a"));
    }
    FakeSupport::inst().beforeCommand = [&](std::size_t) { makeDir(dir / "a"); };
    EXPECT_TRUE(FsNode::ensureDirExists(dir / "a"));
}

class FsNodeExistingDir : public FsNodeChange, public ::testing::WithParamInterface<ModeRow> {};
INSTANTIATE_TEST_SUITE_P(Rows, FsNodeExistingDir,
                         ::testing::Values(ModeRow{"root", path("/"), FsNode::MODE_DIR},
                                           ModeRow{"directory", node(S_IFDIR), FsNode::MODE_DIR},
                                           ModeRow{"link_to_directory", linkTo(S_IFDIR), FsNode::MODE_DIR},
                                           ModeRow{"socket", node(S_IFSOCK), FsNode::MODE_DIR},
                                           ModeRow{"block_device", node(S_IFBLK), FsNode::MODE_DIR}),
                         rowName);

TEST_P(FsNodeExistingDir, runsNothing) {
    EXPECT_TRUE(FsNode::ensureDirExists(GetParam().make(dir)));
    EXPECT_THAT(commands(), IsEmpty());
}

TEST_F(FsNodeChange, ensureCleanDirEmptiesAllButDotNames) {
    writeFile(dir / "d/file", "");
    writeFile(dir / "d/sub/.deep", "");
    makeLink("..", dir / "d/link");
    writeFile(dir / "d/.keep", "kept");
    writeFile(dir / "other", "");
    EXPECT_TRUE(FsNode::ensureCleanDir(dir / "d"));
    EXPECT_THAT(commands(), ElementsAre(Command{"sh -c", {"rm -rf " + (dir / "d") + "/*"}}));
    EXPECT_THAT(treeOf(dir.path()), ElementsAre("d", "d/.keep", "other"));
}

TEST_F(FsNodeChange, ensureCleanDirMakesAMissingDirectory) {
    EXPECT_TRUE(FsNode::ensureCleanDir(dir / "a/b"));
    EXPECT_THAT(commands(), ElementsAre(Command{"mkdir", {"-p", dir / "a/b"}},
                                        Command{"sh -c", {"rm -rf " + (dir / "a/b") + "/*"}}));
    EXPECT_THAT(treeOf(dir.path()), ElementsAre("a", "a/b"));
}

TEST_F(FsNodeChange, ensureCleanDirFailsOnAFile) {
    writeFile(dir / "file", "text");
    EXPECT_FALSE(FsNode::ensureCleanDir(dir / "file"));
    EXPECT_THAT(commands(), ElementsAre(Command{"mkdir", {"-p", dir / "file"}}));
    EXPECT_EQ(readFile(dir / "file"), "text");
}

TEST_F(FsNodeChange, ensureCleanDirRemovesNothingWithoutADirectory) {
    FakeSupport::inst().fault("mkdir", Fault::NOTHING);
    FakeSupport::inst().fault("sh", Fault::NOTHING);
    EXPECT_FALSE(FsNode::ensureCleanDir(dir / "d"));
    EXPECT_FALSE(FsNode::ensureCleanDir(""));
    EXPECT_THAT(commands(), ElementsAre(Command{"mkdir", {"-p", dir / "d"}}, Command{"mkdir", {"-p", ""}}));
}

TEST_F(FsNodeChange, ensureCleanDirDoesNotJudgeTheEmptying) {
    writeFile(dir / "d/file", "");
    for (const Fault fault : {Fault::NOTHING, Fault::FAILURE}) {
        FakeSupport::inst().fault("sh", fault);
        EXPECT_TRUE(FsNode::ensureCleanDir(dir / "d"));
        EXPECT_THAT(treeOf(dir.path()), ElementsAre("d", "d/file"));
    }
}

TEST_F(FsNodeChange, ensureCleanDirPutsThePathIntoTheCommandAsItIs) {
    FakeSupport::inst().fault("sh", Fault::NOTHING);
    for (const char* name : {"a b", "a'b", "a;b", "$HOME", "a/", "*"}) {
        makeDir(dir / name);
        EXPECT_TRUE(FsNode::ensureCleanDir(dir / name));
        EXPECT_EQ(commands().back(), (Command{"sh -c", {"rm -rf " + (dir / name) + "/*"}}));
    }
}

TEST_F(FsNodeChange, ensureCleanDirLetsTheShellReadThePath) {
    writeFile(dir / "d1/file", "");
    writeFile(dir / "d2/file", "");
    makeDir(dir / "d?");
    EXPECT_TRUE(FsNode::ensureCleanDir(dir / "d?"));
    EXPECT_THAT(treeOf(dir.path()), ElementsAre("d1", "d2", "d?"));
}

TEST_F(FsNodeChange, rmFileRemovesAFile) {
    writeFile(dir / "a *", "");
    writeFile(dir / "a b", "");
    EXPECT_TRUE(FsNode::rmFile(dir / "a *"));
    EXPECT_THAT(commands(), ElementsAre(Command{"rm", {"-f", dir / "a *"}}));
    EXPECT_THAT(treeOf(dir.path()), ElementsAre("a b"));
}

TEST_F(FsNodeChange, rmFileRemovesALinkAndNotItsTarget) {
    writeFile(dir / "file", "");
    makeLink("file", dir / "link");
    EXPECT_TRUE(FsNode::rmFile(dir / "link"));
    EXPECT_THAT(treeOf(dir.path()), ElementsAre("file"));
}

TEST_F(FsNodeChange, rmFileTakesADanglingLinkForAbsent) {
    makeLink("nowhere", dir / "link");
    EXPECT_TRUE(FsNode::rmFile(dir / "link"));
    EXPECT_THAT(commands(), IsEmpty());
    EXPECT_THAT(treeOf(dir.path()), ElementsAre("link"));
}

TEST_F(FsNodeChange, rmFileDoesNotTrustRm) {
    writeFile(dir / "file", "");
    for (const Fault fault : {Fault::NOTHING, Fault::FAILURE}) {
        FakeSupport::inst().fault("rm", fault);
        EXPECT_FALSE(FsNode::rmFile(dir / "file"));
    }
    FakeSupport::inst().beforeCommand = [&](std::size_t) { removeTree(dir / "file"); };
    EXPECT_TRUE(FsNode::rmFile(dir / "file"));
}

TEST_F(FsNodeChange, rmFileSeesWhatTookThePlace) {
    writeFile(dir / "file", "");
    FakeSupport::inst().afterCommand = [&](std::size_t) { makeDir(dir / "file"); };
    EXPECT_FALSE(FsNode::rmFile(dir / "file"));
}

class FsNodeRemoveOther : public FsNodeChange, public ::testing::WithParamInterface<ModeRow> {};
INSTANTIATE_TEST_SUITE_P(Rows, FsNodeRemoveOther, ::testing::ValuesIn(MODE_ROWS), rowName);

TEST_P(FsNodeRemoveOther, onlyARegularFileIsRemoved) {
    const std::string victim = GetParam().make(dir);
    const FsNode::Mode mode = GetParam().mode;
    const std::map<std::string, std::string> before = snapshot(dir.path());
    EXPECT_EQ(FsNode::rmFile(victim), mode == FsNode::MODE_NONE || mode == FsNode::MODE_FILE);
    if (mode == FsNode::MODE_FILE) {
        EXPECT_THAT(commands(), ElementsAre(Command{"rm", {"-f", victim}}));
    } else {
        EXPECT_THAT(commands(), IsEmpty());
        EXPECT_EQ(snapshot(dir.path()), before);
    }
}

} // namespace
