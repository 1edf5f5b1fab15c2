#pragma once

#include "manager/manager_fixture.h"

#include <algorithm>
#include <optional>
#include <string>

namespace common::log::test {

/// The three flags as "110".
inline std::string textOf(std::vector<bool> const & flags)
{
    std::string text;
    for (bool const flag : flags) {
        text += flag ? '1' : '0';
    }
    return text;
}
inline std::string textOf(trace::EnablingState const & state)
{
    return textOf(std::vector<bool>{state.messages, state.warnings, state.errors});
}

class NodeTest : public ManagerTest
{
protected:
    NodeTest() { setFlags(internalTrace, {false, true, true}); }

    /// All that a request was answered, as "NB_OK [axis,plc,]", "NB_OK 110" or a name alone.
    ///
    /// @param data  "1" or "0" for a bool8, more of them for an array; any other text as it is
    std::string ask(std::string const & operation, std::string const & address,
                    std::optional<std::string> const & data = std::nullopt)
    {
        comm::nodebus::Variant value;
        if (data && data->find_first_not_of("01") != std::string::npos) {
            (void)value.setValue(*data);
        } else if (data && data->size() == 1) {
            (void)value.setValue(*data == "1");
        } else if (data) {
            std::vector<bool> flags(data->size());
            std::transform(data->begin(), data->end(), flags.begin(), [](char flag) { return flag == '1'; });
            (void)value.setValue(flags);
        }
        comm::nodebus::Variant const * const given = data ? &value : nullptr;
        std::string answers;
        auto const callback = [&answers](comm::nodebus::NbResult result, comm::nodebus::Variant const * answer) {
            answers += result.toString();
            if (answer != nullptr && answer->type == comm::nodebus::VariantType::arrayOfString) {
                answers += " [";
                for (std::string const & name : answer->getStrings()) {
                    answers += name + ",";
                }
                answers += "]";
            } else if (answer != nullptr) {
                answers += " " + textOf(answer->getArray<bool>());
            }
        };
        operation == "Browse"   ? node.onBrowse(address, callback)
        : operation == "Read"   ? node.onRead(address, given, callback)
        : operation == "Write"  ? node.onWrite(address, given, callback)
        : operation == "Create" ? node.onCreate(address, given, callback)
        : operation == "Remove" ? node.onRemove(address, callback)
                                : node.onMetadata(address, callback);
        return answers;
    }

    trace::EnablingStatesProviderNode node{manager, "r/u"};
};

} // namespace common::log::test
