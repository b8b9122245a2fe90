// Access control lists: the rights that they give to others count, and no installation inherits a list.

#include "ToolTest.h"

#include <gmock/gmock.h>

#include <endian.h>
#include <sys/xattr.h>

#include <cstdint>
#include <filesystem>

namespace {

using namespace Kelvra::SCADA::Test;
using ::testing::HasSubstr;

constexpr const char* ACCESS = "system.posix_acl_access";
constexpr const char* INHERITED = "system.posix_acl_default";
constexpr std::uint32_t ANOTHER_USER = 64999;
constexpr std::uint16_t READ = 05;
constexpr std::uint16_t ALL_RIGHTS = 07;

class AccessList : public ToolTest {
protected:
    AccessList() {
        addDefinition(custom, "lora/demo/kept");
        addDefinition(source, "lora/demo/th1");
    }

    /// Gives another user rights on a directory, in addition to those of mode 0755.
    static void grant(const std::string& directory, const char* kind, std::uint16_t rights) {
        std::string list;
        const auto add = [&list](auto number) { list.append(reinterpret_cast<const char*>(&number), sizeof number); };
        add(htole32(2));
        struct Row {
            std::uint16_t tag, rights;
            std::uint32_t id;
        };
        for (const Row& row :
             {Row{0x01, ALL_RIGHTS, UINT32_MAX}, Row{0x02, rights, ANOTHER_USER}, Row{0x04, READ, UINT32_MAX},
              Row{0x10, rights, UINT32_MAX}, Row{0x20, READ, UINT32_MAX}}) {
            add(htole16(row.tag));
            add(htole16(row.rights));
            add(htole32(row.id));
        }
        ASSERT_EQ(setxattr(directory.c_str(), kind, list.data(), list.size(), 0), 0) << directory;
    }

    ToolRun install() const { return run({"install", temp / "source"}); }

    StorageBuilder source{temp / "source"};
};

TEST_F(AccessList, thatLetsAnotherWriteIsRefused) {
    grant(temp.path(), ACCESS, ALL_RIGHTS);
    const ToolRun result = install();
    EXPECT_EQ(result.status, 5);
    EXPECT_THAT(result.out, HasSubstr("[$T] may be written by others. [install/untrusted-directory]"));
}

TEST_F(AccessList, thatLetsAnotherReadIsNone) {
    grant(temp.path(), ACCESS, READ);
    EXPECT_EQ(install().status, 0);
}

TEST_F(AccessList, ofTheDirectoryAboveIsNotInherited) {
    grant(temp.path(), INHERITED, READ);
    ASSERT_EQ(install().status, 0);
    for (const auto& entry : std::filesystem::recursive_directory_iterator(temp / "custom")) {
        for (const char* kind : {ACCESS, INHERITED})
            EXPECT_LT(getxattr(entry.path().c_str(), kind, nullptr, 0), 0) << entry.path() << kind;
    }
    EXPECT_LT(getxattr((temp / "custom").c_str(), ACCESS, nullptr, 0), 0);
}

TEST_F(AccessList, ofTheStorageStays) {
    grant(temp / "custom", INHERITED, READ);
    ASSERT_EQ(install().status, 0);
    EXPECT_GT(getxattr((temp / "custom").c_str(), INHERITED, nullptr, 0), 0);
}

} // namespace
