#pragma once

#include <common/log/host/switch_board.h>

#include <string>

namespace common::log::host {

/// Such as "root (user 0) from tracectl".
std::string textOf(SwitchAuthor const & author);

} // namespace common::log::host
