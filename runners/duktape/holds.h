#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

namespace Kelvra::SCADA::Codec {

template <std::size_t COUNT> bool holds(const std::array<std::string_view, COUNT>& names, std::string_view name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

} // namespace Kelvra::SCADA::Codec
