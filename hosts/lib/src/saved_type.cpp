#include "saved_type.h"

#include "store_failure.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include <flatbuffers/reflection.h>
#include <nlohmann/json.hpp>

namespace common::log::host {

namespace {

using Objects = flatbuffers::Vector<flatbuffers::Offset<reflection::Object>>;
using Tables = flatbuffers::Vector<flatbuffers::Offset<flatbuffers::Table>>;

/// A field of the saved buffer that the library reads, and the place in the vtable at which it does.
struct ReadField
{
    char const * name;
    flatbuffers::voffset_t place;
    reflection::BaseType type;
};
constexpr ReadField kStates{"states", 4, reflection::Vector};
constexpr ReadField kMachine{"machineIdentification", 6, reflection::String};
constexpr ReadField kName{"name", 4, reflection::String};
constexpr std::array<ReadField, 3> kFlags{
    {{"messages", 6, reflection::Bool}, {"warnings", 8, reflection::Bool}, {"errors", 10, reflection::Bool}}};

constexpr std::size_t kSmallestBuffer = 8; // a root offset and a table

void expectType(bool condition, char const * reason)
{
    if (!condition) {
        throw StoreFailure(StoreFault::type, 0, std::string("the type file ") + reason);
    }
}

bool isScalar(reflection::BaseType type) { return type >= reflection::Bool && type <= reflection::Double; }

bool isKnown(reflection::Type const & type, flatbuffers::uoffset_t objects)
{
    bool const isVector = type.base_type() == reflection::Vector;
    reflection::BaseType const inner = isVector ? type.element() : type.base_type();
    if (inner == reflection::Obj) {
        return type.index() >= 0 && static_cast<flatbuffers::uoffset_t>(type.index()) < objects;
    }
    return (isScalar(inner) || inner == reflection::String) && type.index() == -1 &&
           (isVector || type.element() == reflection::None);
}

/// The parser trusts the numbers of a schema: places and indexes beyond what is there would be written to.
bool isConsistent(reflection::Object const & object, flatbuffers::uoffset_t objects)
{
    std::vector<bool> isTaken(object.fields()->size());
    for (reflection::Field const * field : *object.fields()) {
        std::size_t const id = field->id();
        if (id >= isTaken.size() || isTaken[id] || field->offset() != flatbuffers::FieldIndexToOffset(field->id()) ||
            field->padding() != 0 || !isKnown(*field->type(), objects)) {
            return false;
        }
        isTaken[id] = true;
    }
    return !object.is_struct() && object.bytesize() == 0;
}

reflection::Field const * fieldOf(reflection::Object const & object, ReadField const & wanted)
{
    for (reflection::Field const * field : *object.fields()) {
        if (field->name()->string_view() == wanted.name && field->offset() == wanted.place &&
            field->type()->base_type() == wanted.type) {
            return field;
        }
    }
    return nullptr;
}

bool hasReadFields(reflection::Schema const & schema)
{
    reflection::Field const * const states = fieldOf(*schema.root_table(), kStates);
    if (states == nullptr || states->type()->element() != reflection::Obj ||
        fieldOf(*schema.root_table(), kMachine) == nullptr) {
        return false;
    }
    auto const entry = static_cast<flatbuffers::uoffset_t>(states->type()->index());
    reflection::Object const & object = *schema.objects()->Get(entry);
    return fieldOf(object, kName) != nullptr && std::all_of(kFlags.begin(), kFlags.end(), [&](ReadField const & flag) {
               return fieldOf(object, flag) != nullptr;
           });
}

[[noreturn]] void throwSyntax(std::string const & text, std::size_t position, std::string const & reason)
{
    std::string_view const before = std::string_view(text).substr(0, position);
    auto const line = 1 + std::count(before.begin(), before.end(), '\n');
    throw StoreFailure(StoreFault::syntax, static_cast<std::int32_t>(line), reason);
}

void expectJson(std::string const & text)
{
    // The two parsers take it for the end of the text, and would not look at what comes behind it.
    if (std::size_t const zero = text.find('\0'); zero != std::string::npos) {
        throwSyntax(text, zero, "a zero byte");
    }
    try {
        // Every value is dropped at once: an accepted text needs no memory of its own, and a refused one tells where.
        nlohmann::json const dropped = nlohmann::json::parse(
            text, [](int, nlohmann::json::parse_event_t, nlohmann::json const &) { return false; });
    } catch (nlohmann::json::parse_error const & error) {
        std::string const reason = error.what(); // "[…] parse error at line LINE, column COLUMN: …"
        throwSyntax(text, error.byte == 0 ? 0 : error.byte - 1,
                    reason.substr(std::min(reason.find("column"), reason.size())));
    } catch (nlohmann::json::exception const & error) {
        std::string const reason = error.what(); // "[…] …"
        throw StoreFailure(StoreFault::syntax, 0, reason.substr(std::min(reason.find("] ") + 2, reason.size())));
    }
}

void expectFields(std::vector<std::uint8_t> const & buffer)
{
    flatbuffers::Table const & root = *flatbuffers::GetRoot<flatbuffers::Table>(buffer.data());
    for (ReadField const & field : {kStates, kMachine}) {
        if (!root.CheckField(field.place)) {
            throw StoreFailure(StoreFault::field, -1, std::string(field.name) + " is missing");
        }
    }
    auto const & states = *root.GetPointer<Tables const *>(kStates.place);
    for (flatbuffers::uoffset_t entry = 0; entry < states.size(); ++entry) {
        if (!states.Get(entry)->CheckField(kName.place)) {
            throw StoreFailure(StoreFault::field, static_cast<std::int32_t>(entry),
                               "entry " + std::to_string(entry) + " of states has no name");
        }
    }
}

} // namespace

SavedType::SavedType(void const * bytes, std::size_t size)
    : m_bytes(static_cast<std::uint8_t const *>(bytes), static_cast<std::uint8_t const *>(bytes) + size)
{
    flatbuffers::Verifier verifier(m_bytes.data(), m_bytes.size());
    expectType(m_bytes.size() >= kSmallestBuffer && reflection::VerifySchemaBuffer(verifier), "is no binary schema");
    m_schema = reflection::GetSchema(m_bytes.data());
    Objects const & objects = *m_schema->objects();
    auto const isSoundObject = [&](reflection::Object const * object) { return isConsistent(*object, objects.size()); };
    bool const hasIdentifier = m_schema->file_ident() != nullptr && m_schema->file_ident()->size() != 0;
    expectType(m_schema->root_table() != nullptr && isSoundObject(m_schema->root_table()) &&
                   std::all_of(objects.begin(), objects.end(), isSoundObject) && m_schema->enums()->size() == 0 &&
                   !hasIdentifier,
               "is damaged, or holds more than tables");
    expectType(hasReadFields(*m_schema), "is not one of enabling states");
    m_parser.opts.strict_json = true;
    m_parser.opts.output_default_scalars_in_json = true; // a flag to switch on is there to be seen
    expectType(m_parser.Deserialize(m_schema) && m_parser.root_struct_def_ != nullptr, "cannot be used");
}

std::string SavedType::textOf(void const * bytes, std::size_t size)
{
    if (!isSound(bytes, size)) {
        throw StoreFailure(StoreFault::data, 0, "what is to be saved is no sound buffer of its type");
    }
    std::string text;
    if (!flatbuffers::GenerateText(m_parser, bytes, &text)) {
        throw StoreFailure(StoreFault::data, 0, "a name or the machine identification is not UTF-8");
    }
    if (text.size() > FileStore::kLimitBytes) {
        throw StoreFailure(StoreFault::data, 0, "too much to be saved");
    }
    try {
        (void)bufferOf(text);
    } catch (StoreFailure const & failure) { // better now than at the next start
        throw StoreFailure(StoreFault::data, failure.number(), std::string("cannot be read back: ") + failure.what());
    }
    return text;
}

std::vector<std::uint8_t> SavedType::bufferOf(std::string const & text)
{
    expectJson(text);
    if (!m_parser.ParseJson(text.c_str())) {
        // "LINE: COLUMN: error: …", or "(LINE, COLUMN): error: …" where that is what compilers of the system write.
        char const * const place = m_parser.error_.c_str();
        char * rest = nullptr;
        long const line = std::strtol(place + std::strspn(place, "("), &rest, 10);
        long const column = std::strtol(rest + std::strspn(rest, ":, "), &rest, 10);
        throw StoreFailure(StoreFault::content, static_cast<std::int32_t>(line),
                           "column " + std::to_string(column) + ": " + (rest + std::strspn(rest, "): ")));
    }
    std::uint8_t const * const begin = m_parser.builder_.GetBufferPointer();
    std::vector<std::uint8_t> buffer(begin, begin + m_parser.builder_.GetSize());
    if (!isSound(buffer.data(), buffer.size())) {
        throw StoreFailure(StoreFault::content, 0, "no sound buffer comes of it");
    }
    expectFields(buffer);
    return buffer;
}

bool SavedType::isSound(void const * bytes, std::size_t size) const
{
    // The root's place is read ahead of any check.
    return bytes != nullptr && size >= kSmallestBuffer &&
           flatbuffers::Verify(*m_schema, *m_schema->root_table(), static_cast<std::uint8_t const *>(bytes), size);
}

} // namespace common::log::host
