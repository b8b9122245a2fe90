#pragma once

#include "FakeSupport.h"
#include "TempDir.h"
#include "files.h"
#include "install_sample.h"

#include <scada/DefinitionsDeployment.h>
#include <scada/Env.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <functional>
#include <string>

namespace Kelvra::SCADA::Test {

constexpr const char* UNTOUCHED = "untouched";
constexpr const char* ACME_NEW = "lora/acme/new";
constexpr const char* ACME_OLD = "lora/acme/old";
constexpr const char* ZETA_NEW = "lora/zeta/new";
constexpr const char* OLDER_DECODER = "older decoder";

/// An installation of three definitions, one of which is already installed, into a custom storage that has others.
class InstallationTest : public SupportTest {
protected:
    void SetUp() override {
        SupportTest::SetUp();
        Env::inst().conf().setDfnCustomDir(custom);
        Env::inst().conf().setDfnStagingDir(staging);
        for (const char* name : {ACME_NEW, ACME_OLD, ZETA_NEW})
            addDefinition(source, name);
        restore();
    }

    /// Restores the state in which nothing has been installed and there is no staging directory.
    void restore() {
        FakeSupport::inst().reset();
        removeTree(staging);
        removeTree(custom);
        StorageBuilder(custom)
            .definition(ACME_OLD, R"({"properties":{"older":{}}})")
            .decoder(ACME_OLD, "old-decoder", OLDER_DECODER);
        for (const char* name : {"lora/acme/kept", "lora/kept/x", "wired/a/b", ".hidden/a/b"})
            addDefinition(custom, name);
        before = snapshot(custom);
        installed = before;
        for (const char* name : {ACME_NEW, ACME_OLD, ZETA_NEW})
            addInstalled(&installed, name);
    }

    bool deploy() { return DefinitionsDeployment().deploy(source, true, &error); }

    /// The files that no installation of the three may change.
    Snapshot others() const {
        Snapshot rest = snapshot(custom);
        for (const char* name : {ACME_NEW, ACME_OLD, ZETA_NEW}) {
            rest.erase(std::string(name) + ".json");
            rest.erase(std::string(name) + "-decoder");
        }
        rest.erase("lora/zeta");
        return rest;
    }

    void expectNextInstallationToSucceed() {
        FakeSupport::inst().reset();
        error = UNTOUCHED;
        EXPECT_TRUE(deploy());
        EXPECT_EQ(error, UNTOUCHED);
        EXPECT_EQ(snapshot(custom), installed);
        EXPECT_EQ(snapshot(staging), Snapshot());
    }

    TempDir dir;
    const std::string source = dir / "source";
    const std::string staging = dir / "run/staging";
    const std::string custom = dir / "custom";
    Snapshot before;
    Snapshot installed;
    std::string error = UNTOUCHED;
};

/// Starts `body` in a child process, which ends with success if `body` returned true and no expectation failed.
inline pid_t startChild(const std::function<bool()>& body) {
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child != 0)
        return child;
    bool done = false;
    try {
        done = body() && !::testing::Test::HasFailure();
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "%s\n", failure.what());
    }
    std::fflush(nullptr);
    _exit(done ? EXIT_SUCCESS : EXIT_FAILURE);
}

inline bool endsWell(pid_t child) {
    int status = 0;
    return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == EXIT_SUCCESS;
}

} // namespace Kelvra::SCADA::Test
