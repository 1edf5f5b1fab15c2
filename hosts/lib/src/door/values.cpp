#include "values.h"

#include "../utc_text.h"

#include <flatbuffers/flatbuffers.h>
#include <metadata_generated.h>

#include <algorithm>
#include <cstdint>
#include <vector>

namespace common::log::host {

using namespace comm::nodebus;

namespace {

template <typename Value>
Json arrayJson(Variant const & value)
{
    Json array = Json::array();
    for (Value const element : value.getArray<Value>()) {
        array.push_back(element);
    }
    return array;
}

Json sizeJson(Variant const & value, char const * type) { return {{"type", type}, {"size", value.getSize()}}; }

/// Throws instead of going deeper than an array, so that no depth costs more than its text.
bool isFlat(int depth, Json::parse_event_t event, Json & /*parsed*/)
{
    if (event == Json::parse_event_t::object_start || (event == Json::parse_event_t::array_start && depth > 0)) {
        throw Refusal(400, "bad_json", "The body is no value that a node could have.", "nested deeper than an array");
    }
    return true;
}

template <typename Value>
bool setArray(Json const & json, bool (Json::*isKind)() const noexcept, Variant & value)
{
    if (!std::all_of(json.begin(), json.end(), [&](Json const & element) { return (element.*isKind)(); })) {
        return false;
    }
    (void)value.setValue(json.get<std::vector<Value>>());
    return true;
}

bool setValue(Json const & json, Variant & value)
{
    switch (json.type()) {
    case Json::value_t::boolean:
        (void)value.setValue(json.get<bool>());
        return true;
    case Json::value_t::string:
        (void)value.setValue(std::string_view(json.get_ref<std::string const &>()));
        return true;
    case Json::value_t::number_integer:
        (void)value.setValue(json.get<std::int64_t>());
        return true;
    case Json::value_t::number_unsigned:
        (void)value.setValue(json.get<std::uint64_t>());
        return true;
    case Json::value_t::number_float:
        (void)value.setValue(json.get<double>());
        return true;
    case Json::value_t::array:
        return setArray<bool>(json, &Json::is_boolean, value) ||
               setArray<std::int64_t>(json, &Json::is_number_integer, value) ||
               setArray<double>(json, &Json::is_number, value) || setArray<std::string>(json, &Json::is_string, value);
    default:
        return false;
    }
}

} // namespace

Json jsonOf(trace::EnablingState const & state) { return Json::array({state.messages, state.warnings, state.errors}); }

Json jsonOf(Variant const * value)
{
    if (value == nullptr) {
        return nullptr;
    }
    switch (value->type) {
    case VariantType::bool8:
        return value->getValue<bool>();
    case VariantType::int8:
        return value->getValue<std::int8_t>();
    case VariantType::uint8:
        return value->getValue<std::uint8_t>();
    case VariantType::int16:
        return value->getValue<std::int16_t>();
    case VariantType::uint16:
        return value->getValue<std::uint16_t>();
    case VariantType::int32:
        return value->getValue<std::int32_t>();
    case VariantType::uint32:
        return value->getValue<std::uint32_t>();
    case VariantType::int64:
        return value->getValue<std::int64_t>();
    case VariantType::uint64:
    case VariantType::timestamp:
        return value->getValue<std::uint64_t>();
    case VariantType::float32:
        return value->getValue<float>();
    case VariantType::float64:
        return value->getValue<double>();
    case VariantType::string:
        return value->getText();
    case VariantType::arrayOfBool8:
        return arrayJson<bool>(*value);
    case VariantType::arrayOfInt8:
        return arrayJson<std::int8_t>(*value);
    case VariantType::arrayOfUint8:
        return arrayJson<std::uint8_t>(*value);
    case VariantType::arrayOfInt16:
        return arrayJson<std::int16_t>(*value);
    case VariantType::arrayOfUint16:
        return arrayJson<std::uint16_t>(*value);
    case VariantType::arrayOfInt32:
        return arrayJson<std::int32_t>(*value);
    case VariantType::arrayOfUint32:
        return arrayJson<std::uint32_t>(*value);
    case VariantType::arrayOfInt64:
        return arrayJson<std::int64_t>(*value);
    case VariantType::arrayOfUint64:
    case VariantType::arrayOfTimestamp:
        return arrayJson<std::uint64_t>(*value);
    case VariantType::arrayOfFloat32:
        return arrayJson<float>(*value);
    case VariantType::arrayOfFloat64:
        return arrayJson<double>(*value);
    case VariantType::arrayOfString:
        return value->getStrings();
    case VariantType::raw:
        return sizeJson(*value, "raw");
    case VariantType::flatbuffers:
        return sizeJson(*value, "flatbuffers");
    case VariantType::unknown:
        break;
    }
    return nullptr;
}

Json metadataJson(NodeAnswer const & answer, std::string const & address)
{
    if (!answer.value || answer.value->type != VariantType::flatbuffers) {
        throw Refusal(502, "failed", "The node gave no metadata.", address);
    }
    auto const * const bytes = static_cast<std::uint8_t const *>(answer.value->dataPointer());
    flatbuffers::Verifier verifier(bytes, static_cast<std::size_t>(answer.value->getSize()));
    if (!VerifyMetadataBuffer(verifier)) {
        throw Refusal(502, "failed", "The node gave damaged metadata.", address);
    }
    Metadata const & metadata = *GetMetadata(bytes);
    AllowedOperations const & operations = *metadata.operations();
    Json references = Json::array();
    if (metadata.references() != nullptr) {
        for (Reference const * const reference : *metadata.references()) {
            references.push_back({{"type", reference->type()->str()}, {"target", reference->target()->str()}});
        }
    }
    return {{"nodeClass", EnumNameNodeClass(metadata.nodeClass())},
            {"operations",
             {{"read", operations.read()},
              {"write", operations.write()},
              {"create", operations.create()},
              {"remove", operations.remove()},
              {"browse", operations.browse()}}},
            {"description", metadata.description()->str()},
            {"secondaryText", metadata.secondaryText()->str()},
            {"references", references}};
}

Json jsonOf(RunningSwitch const & running)
{
    auto const left = std::chrono::ceil<std::chrono::seconds>(running.until - std::chrono::system_clock::now()).count();
    return {{"until", utcText(running.until)},
            {"seconds", std::max<std::int64_t>(left, 0)},
            {"before", jsonOf(running.before)},
            {"by", running.author.userName.empty() ? std::to_string(running.author.userId) : running.author.userName}};
}

Variant readValue(std::string const & body)
{
    Variant value;
    try {
        if (setValue(Json::parse(body, isFlat), value)) {
            return value;
        }
    } catch (Json::exception const & exception) {
        throw Refusal(400, "bad_json", "The body is no JSON.", exception.what());
    }
    throw Refusal(400, "bad_json", "The body is no value that a node could have.",
                  "neither a boolean, number or text, nor an array of one kind of these");
}

} // namespace common::log::host
