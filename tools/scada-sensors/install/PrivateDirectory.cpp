#include "install/PrivateDirectory.h"

#include "text/Descriptor.h"
#include "text/filled.h"
#include "text/removeTree.h"

#include <cerrno>
#include <cstdlib>
#include <stdexcept>

namespace Kelvra::SCADA::Tool {

PrivateDirectory::PrivateDirectory(const std::string& parent, const std::string& prefix)
    : dir(parent + "/" + prefix + "XXXXXX") {
    if (mkdtemp(dir.data()) == nullptr)
        throw std::runtime_error(filled("cannot make a directory in [%s]: %s", {parent, reasonOf(errno)}));
}

PrivateDirectory::~PrivateDirectory() {
    removeTree(dir);
}

} // namespace Kelvra::SCADA::Tool
