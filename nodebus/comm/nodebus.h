#pragma once

/// The vocabulary of the Node Bus, a service of addressed nodes that components of the controller create, read, write,
/// browse and remove. Header-only, and no part of the trace library: a service that is written against it needs nothing
/// else of this repository.

// IWYU pragma: begin_exports
#include <comm/nodebus/address.h>
#include <comm/nodebus/i_provider.h>
#include <comm/nodebus/i_provider_node.h>
#include <comm/nodebus/nb_result.h>
#include <comm/nodebus/node_callback.h>
#include <comm/nodebus/type_names.h>
#include <comm/nodebus/variant.h>
#include <comm/nodebus/variant_type.h>
// IWYU pragma: end_exports
