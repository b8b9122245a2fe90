#include "NamedRow.h"
#include "TempDir.h"
#include "files.h"
#include "mount_privately.h"
#include "row_name.h"
#include "unprivileged.h"

#include "definitions/listing.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>
#include <iostream>
#include <random>
#include <vector>

namespace {

using Kelvra::SCADA::collectNames;
using Kelvra::SCADA::isListed;
using namespace Kelvra::SCADA::Test;

constexpr std::size_t LONGEST_NAME = NAME_MAX;
constexpr std::size_t LONGEST_PATH = PATH_MAX;

std::set<std::string> namesOf(const std::string& dir) {
    std::set<std::string> names;
    collectNames(dir, &names);
    return names;
}

std::string visible(const std::string& text) {
    std::string shown;
    for (const char c : text)
        shown += c == '\0' ? std::string("\\0") : std::string(1, c);
    return shown;
}

// Compares isListed with the listing for each of these names; prints the differences.
bool agree(const std::string& dir, const std::vector<std::string>& names) {
    const std::set<std::string> listed = namesOf(dir);
    bool same = true;
    for (const std::string& name : names) {
        const bool expected = listed.count(name) != 0;
        if (isListed(dir, name) == expected)
            continue;
        std::cerr << "[" << visible(name) << "] in [" << dir << "] is " << (expected ? "" : "not ") << "listed\n";
        same = false;
    }
    return same;
}

// ---- rows ----

struct ListingRow : NamedRow {
    const char* definition;
    bool listed;
};

const ListingRow LISTING_ROWS[] = {
    {"plain", "lora/demo/th1", true},
    {"hidden_directories", ".a/.b/x", true},
    {"empty_stem", "lora/demo/", true},
    {"dotted_stem", "lora/demo/..", true},
    {"backslashes", R"(a\b/c\d/e\f)", true},
    {"pattern_characters", "*/?/[", true},
    {"missing", "lora/demo/missing", false},
    {"one_level", "lora/th2", false},
    {"top_level", "top", false},
    {"three_levels", "lora/demo/deep/th1", false},
    {"empty", "", false},
    {"slashes", "//", false},
    {"leading_slash", "/lora/demo/th1", false},
    {"doubled_slash", "lora//demo/th1", false},
    {"empty_first", "/demo/th1", false},
    {"empty_second", "lora//th2", false},
    {"trailing_slash", "lora/demo/th1/", false},
    {"dot_first", "./lora/th2", false},
    {"dot_second", "lora/./th2", false},
    {"dot_dot_first", "../storage/lora", false},
    {"dot_dot_second", "lora/../top", false},
    {"suffix_given", "lora/demo/th1.json", false},
    {"other_case", "lora/demo/TH1", false},
    {"backslash_as_separator", "lora\\demo\\th1", false},
    {"linked_first", "linked/demo/th1", false},
    {"linked_second", "lora/linked/th1", false},
    {"linked_file", "lora/demo/link", false},
    {"dangling_file", "lora/demo/dangling", false},
    {"fifo", "lora/demo/fifo", false},
    {"socket", "lora/demo/socket", false},
    {"directory", "lora/demo/directory", false},
    {"file_as_directory", "lora/th2.json/x", false},
};

class Listing : public ::testing::TestWithParam<ListingRow> {
protected:
    Listing() : storage(dir / "storage") {
        for (const char* path : {"lora/demo/th1", ".a/.b/x", "lora/demo/", "lora/demo/..", R"(a\b/c\d/e\f)", "*/?/[",
                                 "lora/th2", "top", "lora/demo/deep/th1"})
            writeFile(storage + "/" + path + ".json", "");
        makeLink("lora", storage + "/linked");
        makeLink("demo", storage + "/lora/linked");
        makeLink("th1.json", storage + "/lora/demo/link.json");
        makeLink("nowhere", storage + "/lora/demo/dangling.json");
        makeFifo(storage + "/lora/demo/fifo.json");
        makeSocket(storage + "/lora/demo/socket.json");
        makeDir(storage + "/lora/demo/directory.json");
    }
    TempDir dir;
    std::string storage;
};
INSTANTIATE_TEST_SUITE_P(Rows, Listing, ::testing::ValuesIn(LISTING_ROWS), rowName);

TEST_P(Listing, bothAnswersAreTheSame) {
    makeLink("storage", dir / "link");
    for (const std::string& path : {storage, storage + "/", storage + "//", dir / "link", dir / "storage/lora/.."}) {
        EXPECT_EQ(namesOf(path).count(GetParam().definition), GetParam().listed ? 1U : 0U) << path;
        EXPECT_EQ(isListed(path, GetParam().definition), GetParam().listed) << path;
    }
}

TEST_P(Listing, nothingIsListedElsewhere) {
    makeLink("nowhere", dir / "dangling");
    for (const std::string& path : {dir / "missing", dir / "dangling", storage + "/top.json", storage + "/lora"}) {
        EXPECT_EQ(namesOf(path).count(GetParam().definition), 0U) << path;
        EXPECT_FALSE(isListed(path, GetParam().definition)) << path;
    }
}

TEST_P(Listing, nameWithNulIsNotListed) {
    const std::string name = GetParam().definition;
    for (std::size_t at = 0; at <= name.size(); ++at) {
        std::string withNul = name;
        withNul.insert(at, 1, '\0');
        EXPECT_FALSE(isListed(storage, withNul)) << at;
        EXPECT_FALSE(isListed(storage, withNul + ".json")) << at;
    }
}

TEST(ListingRoot, emptyDirectoryMeansRoot) {
    const TempDir dir;
    writeFile(dir / "th1.json", "");
    writeFile(dir / "demo/th1.json", "");
    const std::string path = dir.path().substr(1);
    EXPECT_TRUE(agree("", {path + "/th1", path + "/demo/th1", "/" + path + "/th1", path, "", "//"}));
}

// ---- near the limits of the system ----

// Makes the regular file DIR/FIRST/SECOND/FILE step by step: its path may be longer than a system call accepts.
bool makeStepByStep(const std::string& dir, const std::array<std::string, 3>& steps) {
    int at = open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    for (std::size_t i = 0; i < 2 && at >= 0; ++i) {
        mkdirat(at, steps[i].c_str(), S_IRWXU);
        const int next = openat(at, steps[i].c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        close(at);
        at = next;
    }
    const int file = at < 0 ? -1 : openat(at, steps[2].c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, S_IRUSR);
    close(at);
    close(file);
    return file >= 0;
}

// Returns a directory below `dir` whose path has `length` bytes.
std::string makeLongPath(const std::string& dir, std::size_t length) {
    std::string path = dir;
    while (path.size() + 202 <= length)
        path += "/" + std::string(200, 'd');
    path += "/" + std::string(length - path.size() - 1, 'e');
    makeDir(path);
    return path;
}

TEST(ListingLimits, longestNames) {
    const TempDir dir;
    const std::string longest(LONGEST_NAME, 'n');
    for (const std::size_t stem : {LONGEST_NAME - 6, LONGEST_NAME - 5}) {
        const std::string file = std::string(stem, 's') + ".json";
        ASSERT_TRUE(makeStepByStep(dir.path(), {longest, longest, file}));
        EXPECT_TRUE(isListed(dir.path(), longest + "/" + longest + "/" + std::string(stem, 's')));
    }
    std::vector<std::string> names;
    for (const std::size_t length :
         {LONGEST_NAME - 6, LONGEST_NAME - 5, LONGEST_NAME - 4, LONGEST_NAME, LONGEST_NAME + 1, LONGEST_PATH * 2}) {
        names.push_back(longest + "/" + longest + "/" + std::string(length, 's'));
        names.push_back(longest + "/" + std::string(length, 'n') + "/s");
        names.push_back(std::string(length, 'n') + "/" + longest + "/s");
    }
    EXPECT_TRUE(agree(dir.path(), names));
}

// The levels of the listing use the path up to "/DIR//FIRST", "/DIR/FIRST/SECOND" and the file; in turn each of them
// gets every length around the limit.
TEST(ListingLimits, pathsAroundTheLongest) {
    const TempDir dir;
    std::size_t listed = 0;
    for (const std::size_t second : {1U, 40U, 200U}) {
        const std::string storage = makeLongPath(dir.path(), LONGEST_PATH - 2 * second - 20);
        std::vector<std::string> names;
        const std::string first(second + 1, 'f');
        for (std::size_t stem = 1; stem < 40; ++stem) {
            const std::array<std::string, 3> steps = {first, std::string(second, 's'),
                                                      std::string(stem, 't') + ".json"};
            ASSERT_TRUE(makeStepByStep(storage, steps));
            names.push_back(first + "/" + steps[1] + "/" + std::string(stem, 't'));
        }
        EXPECT_TRUE(agree(storage, names));
        listed += namesOf(storage).size();
        EXPECT_LT(namesOf(storage).size(), names.size());
    }
    EXPECT_GT(listed, 0U);
}

TEST(ListingLimits, directoriesBeyondTheLongestPath) {
    const TempDir dir;
    const std::size_t storageLength = LONGEST_PATH - 150;
    const std::string storage = makeLongPath(dir.path(), storageLength);
    std::vector<std::string> names;
    for (std::size_t length = 130; length < 160; ++length) {
        const std::string component(length, 'x');
        ASSERT_TRUE(makeStepByStep(storage, {component, "s", "t.json"}));
        ASSERT_TRUE(makeStepByStep(storage, {"f", component, "t.json"}));
        names.push_back(component + "/s/t");
        names.push_back("f/" + component + "/t");
    }
    EXPECT_TRUE(agree(storage, names));
    EXPECT_TRUE(agree(storage + std::string(120, '/'), names));
    EXPECT_TRUE(agree(std::string(LONGEST_PATH, '/') + storage, names));
    EXPECT_FALSE(namesOf(storage).empty());
}

// ---- random trees ----

constexpr unsigned int SEED = 20231121;
constexpr int TREES = 1000;
constexpr int TREES_IN_AN_IMAGE = 100;
constexpr int NAMES_PER_TREE = 40;

class RandomTree {
public:
    explicit RandomTree(std::string tree) : root(std::move(tree)), random(SEED) {}

    // Makes a new tree and returns whether both ways agree about all names.
    bool check() {
        paths.clear();
        const std::string storage = root + "/storage";
        fill(storage, "", 0);
        symlink("storage", (root + "/link").c_str());
        const auto dir = pick<std::string>({storage, storage + "/", storage + "///", root + "/link"});
        const std::set<std::string> listed = namesOf(dir);
        listedNames += listed.size();
        std::vector<std::string> names(listed.begin(), listed.end());
        names.insert(names.end(), paths.begin(), paths.end());
        for (int i = 0; i < NAMES_PER_TREE; ++i)
            names.push_back(randomName());
        const bool same = agree(dir, names);
        removeTree(storage);
        removeTree(root + "/link");
        return same;
    }

    std::size_t listedSoFar() const { return listedNames; }

private:
    template <typename Value> Value pick(const std::vector<Value>& values) { return values[below(values.size())]; }

    std::size_t below(std::size_t limit) { return random() % limit; }

    std::string component() {
        static const std::vector<std::string> components = {"a",
                                                            "b",
                                                            "A",
                                                            "a.",
                                                            "lora",
                                                            "Lora",
                                                            ".a",
                                                            "..b",
                                                            "...",
                                                            "a b",
                                                            "a\\b",
                                                            "\\",
                                                            "*",
                                                            "[",
                                                            "?",
                                                            "a.json",
                                                            ".json",
                                                            "\n",
                                                            "\xff",
                                                            std::string(LONGEST_NAME, 'n'),
                                                            std::string(LONGEST_NAME - 5, 'n')};
        return pick(components);
    }

    void fill(const std::string& dir, const std::string& relative, int depth) {
        if (mkdir(dir.c_str(), S_IRWXU) != 0) // it may also be a link that leads out of the tree
            return;
        for (std::size_t count = below(4) + (depth < 2 ? 1 : 0); count > 0; --count)
            addEntry(dir, relative, depth);
        const std::vector<mode_t> modes = {0, S_IXUSR, S_IRUSR, S_IRUSR | S_IXUSR, S_IWUSR | S_IXUSR};
        if (below(12) == 0)
            chmod(dir.c_str(), pick(modes));
    }

    void addEntry(const std::string& dir, const std::string& relative, int depth) {
        std::string name = component();
        if (below(depth < 2 ? 6 : 4) < (depth < 2 ? 1U : 3U) && name.size() + 5 <= LONGEST_NAME)
            name += ".json";
        const std::string path = dir + "/" + name;
        const std::string inStorage = relative.empty() ? name : relative + "/" + name;
        paths.push_back(inStorage);
        const bool isSuffixed = name.size() >= 5 && name.compare(name.size() - 5, 5, ".json") == 0;
        if (isSuffixed)
            paths.push_back(inStorage.substr(0, inStorage.size() - 5));
        if (below(10) < (depth < 2 ? 7U : 1U) && depth < 4)
            fill(path, inStorage, depth + 1);
        else
            makeLeaf(path);
    }

    // If this fails because the name is taken or the directory closed, the entry does not exist.
    void makeLeaf(const std::string& path) {
        const std::size_t kind = below(10);
        const mode_t type = kind == 0 ? S_IFIFO : kind == 1 ? S_IFSOCK : S_IFREG;
        if (kind > 1 && kind < 5)
            symlink(pick<std::string>({"a", "b", "../a", "../..", "nowhere", "a.json", "."}).c_str(), path.c_str());
        else
            mknod(path.c_str(), type | S_IRUSR | S_IWUSR, 0);
    }

    std::string randomName() {
        std::string name = !paths.empty() && below(2) == 0 ? pick(paths) : component();
        for (std::size_t more = below(4); more > 0; --more)
            name += "/" + (below(6) == 0 ? pick<std::string>({"", ".", "..", "nowhere"}) : component());
        if (below(4) == 0)
            mutate(name);
        return name;
    }

    void mutate(std::string& name) {
        static const std::vector<std::string> inserts = {std::string(1, '\0'), "/", "\\", "./", "../", ".json", "//"};
        name.insert(below(name.size() + 1), pick(inserts));
    }

    std::string root;
    std::mt19937 random; // gives the same sequence with every standard library
    std::vector<std::string> paths;
    std::size_t listedNames = 0;
};

bool checkRandomTrees(const std::string& dir, int trees) {
    RandomTree tree(dir);
    bool same = true;
    for (int i = 0; i < trees && same; ++i)
        same = tree.check();
    std::cout << tree.listedSoFar() << " names were listed in " << trees << " trees\n";
    return same && tree.listedSoFar() > static_cast<std::size_t>(trees) / 10;
}

TEST(ListingRandom, bothAnswersAreTheSame) {
    std::cout << "seed " << SEED << "\n";
    const TempDir dir;
    EXPECT_TRUE(runUnprivileged(dir.path(), [&] { return checkRandomTrees(dir.path(), TREES); }));
}

// ---- file systems on which a name may reach an entry of another name ----

class ListingFolded : public ::testing::TestWithParam<FoldingFileSystem> {
protected:
    void SetUp() override { ASSERT_TRUE(mountFolding(GetParam(), dir / "image", dir / "place")); }
    void TearDown() override { umount((dir / "place").c_str()); }

    TempDir dir;
    std::string names = dir / "place/names";
};
INSTANTIATE_TEST_SUITE_P(Rows, ListingFolded, ::testing::ValuesIn(mountableFolding()), rowName);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(ListingFolded);

TEST_P(ListingFolded, onlyTheStoredNameIsListed) {
    writeFile(names + "/storage/lora/demo/th1.json", "");
    writeFile(names + "/storage/lora/demo/th2.JSON", "");
    ASSERT_EQ(Kelvra::SCADA::Test::readFile(names + "/Storage/LORA/Demo/Th1.JSON"), "")
        << "letter cases are not folded here";
    for (const std::string& storage : {names + "/storage", names + "/STORAGE/"}) {
        EXPECT_TRUE(isListed(storage, "lora/demo/th1")) << storage;
        for (const char* name : {"Lora/demo/th1", "lora/DEMO/th1", "lora/demo/tH1", "lora/demo/th2"})
            EXPECT_FALSE(isListed(storage, name)) << storage << " " << name;
        EXPECT_EQ(namesOf(storage), std::set<std::string>{"lora/demo/th1"});
    }
}

TEST_P(ListingFolded, bothAnswersAreTheSame) {
    std::cout << "seed " << SEED << "\n";
    EXPECT_TRUE(runUnprivileged(dir.path(), [&] { return checkRandomTrees(names, TREES_IN_AN_IMAGE); }));
}

} // namespace
