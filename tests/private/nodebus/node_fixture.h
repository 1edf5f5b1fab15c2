#pragma once

#include "manager/manager_fixture.h"

#include <optional>
#include <string>

namespace common::log::test {

/// The three flags as "110", and back.
inline std::string textOf(trace::EnablingState const & state)
{
    return std::string{state.messages ? '1' : '0', state.warnings ? '1' : '0', state.errors ? '1' : '0'};
}
inline trace::EnablingState stateOf(std::string const & text)
{
    return {text.at(0) == '1', text.at(1) == '1', text.at(2) == '1'};
}

/// An answer as "NB_OK [axis,plc]", "NB_OK 110" or a name alone.
inline std::string textOf(comm::nodebus::NbResult result, comm::nodebus::Variant const * value)
{
    std::string text = result.toString();
    if (value == nullptr) {
        return text;
    }
    text += value->type == comm::nodebus::VariantType::arrayOfString ? " [" : " ";
    for (std::string const & name : value->getStrings()) {
        text += name + ",";
    }
    if (value->type == comm::nodebus::VariantType::arrayOfString) {
        text.back() = ']';
    } else if (value->type == comm::nodebus::VariantType::arrayOfBool8) {
        for (bool const flag : value->getArray<bool>()) {
            text += flag ? '1' : '0';
        }
    }
    return text;
}

class NodeTest : public ManagerTest
{
protected:
    NodeTest() { setFlags(internalTrace, {false, true, true}); }

    /// All that a request was answered.
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
            std::vector<bool> flags;
            for (char const flag : *data) {
                flags.push_back(flag == '1');
            }
            (void)value.setValue(flags);
        }
        comm::nodebus::Variant const * const given = data ? &value : nullptr;
        std::string answers;
        comm::nodebus::NodeCallback const callback = [&answers](comm::nodebus::NbResult result,
                                                                comm::nodebus::Variant const * answer) {
            answers += textOf(result, answer);
        };
        if (operation == "Browse") {
            node.onBrowse(address, callback);
        } else if (operation == "Read") {
            node.onRead(address, given, callback);
        } else if (operation == "Write") {
            node.onWrite(address, given, callback);
        } else if (operation == "Create") {
            node.onCreate(address, given, callback);
        } else if (operation == "Remove") {
            node.onRemove(address, callback);
        } else if (operation == "Metadata") {
            node.onMetadata(address, callback);
        }
        return answers;
    }

    trace::EnablingStatesProviderNode node{manager, "r/u"};
};

} // namespace common::log::test
