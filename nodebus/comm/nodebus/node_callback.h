#pragma once

#include <comm/nodebus/nb_result.h>
#include <comm/nodebus/variant.h>

#include <functional>

namespace comm::nodebus {

/// Takes the one answer of a node operation: its result, and its value or null where there is none to report.
///
/// The value is gone when the call returns; what is to be kept is copied inside of it. Never called when empty by who
/// gave it: that would throw std::bad_function_call.
using NodeCallback = std::function<void(NbResult result, Variant const * value)>;

} // namespace comm::nodebus
