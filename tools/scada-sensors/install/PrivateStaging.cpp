#include "install/PrivateStaging.h"

#include "text/filled.h"

#include <scada/Env.h>

#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace Kelvra::SCADA::Tool {

namespace {

constexpr const char* STAGING_PREFIX = "scada-install-";

} // namespace

std::vector<std::string> leftoversOfInstallations(const std::string& staging) {
    return leftoversIn(staging, STAGING_PREFIX);
}

PrivateStaging::PrivateStaging() : configured(Env::inst().conf().getDfnStagingDir()) {
    std::error_code error;
    std::filesystem::create_directories(configured, error);
    if (error)
        throw std::runtime_error(filled("cannot make the directory [%s]: %s", {configured, error.message()}));
    directory = std::make_unique<PrivateDirectory>(configured, STAGING_PREFIX);
    Env::inst().conf().setDfnStagingDir(directory->path());
}

PrivateStaging::~PrivateStaging() {
    Env::inst().conf().setDfnStagingDir(configured);
}

} // namespace Kelvra::SCADA::Tool
