#pragma once

/// All that the library exports of `common::log` and `common::log::trace`.

// IWYU pragma: begin_exports
#include <common/log/argument_pointer.h>
#include <common/log/call_site.h>
#include <common/log/call_site/counted_log.h>
#include <common/log/call_site/limit.h>
#include <common/log/call_site/place.h>
#include <common/log/call_site/road.h>
#include <common/log/call_site/statement.h>
#include <common/log/clock.h>
#include <common/log/common_result.h>
#include <common/log/convert_timestamp.h>
#include <common/log/file_base_name.h>
#include <common/log/function_name.h>
#include <common/log/printf_format.h>
#include <common/log/priority_type.h>
#include <common/log/send_log.h>
#include <common/log/snap_name.h>
#include <common/log/trace/check_and_set_string.h>
#include <common/log/trace/config_provider_node.h>
#include <common/log/trace/data_of_queue.h>
#include <common/log/trace/enabling_state.h>
#include <common/log/trace/enabling_states_provider_node.h>
#include <common/log/trace/handler.h>
#include <common/log/trace/i_log.h>
#include <common/log/trace/i_log_real_time.h>
#include <common/log/trace/inherit_mutex.h>
#include <common/log/trace/internal_trace.h>
#include <common/log/trace/log.h>
#include <common/log/trace/log_parameters.h>
#include <common/log/trace/main_diagnosis_code.h>
#include <common/log/trace/manager.h>
#include <common/log/trace/map_results.h>
#include <common/log/trace/nodebus_provider.h>
#include <common/log/trace/output_hook.h>
#include <common/log/trace/persistence_helper_itf.h>
#include <common/log/trace/persistence_phase.h>
#include <common/log/trace/trace_result.h>
// IWYU pragma: end_exports
