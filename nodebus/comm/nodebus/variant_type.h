#pragma once

#include <cstdint>

namespace comm::nodebus {

/// What a `Variant` holds. The numbers are the service's. Each array has the number of its element and 12, but for that
/// of the timestamp.
enum class VariantType : std::uint32_t
{
    unknown = 0,
    bool8 = 1,
    int8 = 2,
    uint8 = 3,
    int16 = 4,
    uint16 = 5,
    int32 = 6,
    uint32 = 7,
    int64 = 8,
    uint64 = 9,
    float32 = 10,
    float64 = 11,
    string = 12,
    arrayOfBool8 = 13, ///< one byte an element
    arrayOfInt8 = 14,
    arrayOfUint8 = 15,
    arrayOfInt16 = 16,
    arrayOfUint16 = 17,
    arrayOfInt32 = 18,
    arrayOfUint32 = 19,
    arrayOfInt64 = 20,
    arrayOfUint64 = 21,
    arrayOfFloat32 = 22,
    arrayOfFloat64 = 23,
    arrayOfString = 24, ///< a buffer with all texts, and a pointer to each
    raw = 25,
    flatbuffers = 26, ///< a finished buffer; of what table, sender and receiver know
    timestamp = 27,
    arrayOfTimestamp = 28,
};

/// Whether a value of this type lies in a buffer, and not in place. The timestamp, amidst these, is a scalar.
constexpr bool isBuffer(VariantType type) noexcept
{
    return (type >= VariantType::string && type <= VariantType::flatbuffers) || type == VariantType::arrayOfTimestamp;
}

/// The size in bytes of a value in place; 1 for the unknown.
constexpr std::uint64_t sizeInPlace(VariantType type) noexcept
{
    switch (type) {
    case VariantType::int16:
    case VariantType::uint16:
        return 2;
    case VariantType::int32:
    case VariantType::uint32:
    case VariantType::float32:
        return 4;
    case VariantType::int64:
    case VariantType::uint64:
    case VariantType::float64:
    case VariantType::timestamp:
        return 8;
    default:
        return 1;
    }
}

/// The type of what C++ holds as a `Value`, unknown where that is no scalar of the service. A timestamp is a
/// std::uint64_t to C++ and not told from that number here.
template <typename Value>
inline constexpr VariantType kScalarTypeOf = VariantType::unknown;
template <>
inline constexpr VariantType kScalarTypeOf<bool> = VariantType::bool8;
template <>
inline constexpr VariantType kScalarTypeOf<std::int8_t> = VariantType::int8;
template <>
inline constexpr VariantType kScalarTypeOf<std::uint8_t> = VariantType::uint8;
template <>
inline constexpr VariantType kScalarTypeOf<std::int16_t> = VariantType::int16;
template <>
inline constexpr VariantType kScalarTypeOf<std::uint16_t> = VariantType::uint16;
template <>
inline constexpr VariantType kScalarTypeOf<std::int32_t> = VariantType::int32;
template <>
inline constexpr VariantType kScalarTypeOf<std::uint32_t> = VariantType::uint32;
template <>
inline constexpr VariantType kScalarTypeOf<std::int64_t> = VariantType::int64;
template <>
inline constexpr VariantType kScalarTypeOf<std::uint64_t> = VariantType::uint64;
template <>
inline constexpr VariantType kScalarTypeOf<float> = VariantType::float32;
template <>
inline constexpr VariantType kScalarTypeOf<double> = VariantType::float64;

/// The type of an array of these; not for a timestamp.
constexpr VariantType arrayOf(VariantType scalar) noexcept
{
    return static_cast<VariantType>(static_cast<std::uint32_t>(scalar) + 12);
}

} // namespace comm::nodebus
