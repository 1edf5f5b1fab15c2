#pragma once

/// The names by which metadata of nodes speaks of the service's types: one for each tag of `VariantType` but that of
/// flatbuffers, whose tables have names of their own, and one for each type of the controller's languages.
namespace comm::nodebus::type_names {

inline constexpr char const * kUnknown = "types/nodebus/unknown";
inline constexpr char const * kBool8 = "types/nodebus/bool8";
inline constexpr char const * kInt8 = "types/nodebus/int8";
inline constexpr char const * kUint8 = "types/nodebus/uint8";
inline constexpr char const * kInt16 = "types/nodebus/int16";
inline constexpr char const * kUint16 = "types/nodebus/uint16";
inline constexpr char const * kInt32 = "types/nodebus/int32";
inline constexpr char const * kUint32 = "types/nodebus/uint32";
inline constexpr char const * kInt64 = "types/nodebus/int64";
inline constexpr char const * kUint64 = "types/nodebus/uint64";
inline constexpr char const * kFloat32 = "types/nodebus/float32";
inline constexpr char const * kFloat64 = "types/nodebus/float64";
inline constexpr char const * kString = "types/nodebus/string";
inline constexpr char const * kArrayOfBool8 = "types/nodebus/array-of-bool8";
inline constexpr char const * kArrayOfInt8 = "types/nodebus/array-of-int8";
inline constexpr char const * kArrayOfUint8 = "types/nodebus/array-of-uint8";
inline constexpr char const * kArrayOfInt16 = "types/nodebus/array-of-int16";
inline constexpr char const * kArrayOfUint16 = "types/nodebus/array-of-uint16";
inline constexpr char const * kArrayOfInt32 = "types/nodebus/array-of-int32";
inline constexpr char const * kArrayOfUint32 = "types/nodebus/array-of-uint32";
inline constexpr char const * kArrayOfInt64 = "types/nodebus/array-of-int64";
inline constexpr char const * kArrayOfUint64 = "types/nodebus/array-of-uint64";
inline constexpr char const * kArrayOfFloat32 = "types/nodebus/array-of-float32";
inline constexpr char const * kArrayOfFloat64 = "types/nodebus/array-of-float64";
inline constexpr char const * kArrayOfString = "types/nodebus/array-of-string";
inline constexpr char const * kRaw = "types/nodebus/raw";
inline constexpr char const * kTimestamp = "types/nodebus/timestamp";
inline constexpr char const * kArrayOfTimestamp = "types/nodebus/array-of-timestamp";

inline constexpr char const * kPlcBit = "types/plc/bit";
inline constexpr char const * kPlcBool = "types/plc/bool";
inline constexpr char const * kPlcByte = "types/plc/byte";
inline constexpr char const * kPlcWord = "types/plc/word";
inline constexpr char const * kPlcDword = "types/plc/dword";
inline constexpr char const * kPlcLword = "types/plc/lword";
inline constexpr char const * kPlcSint = "types/plc/sint";
inline constexpr char const * kPlcUsint = "types/plc/usint";
inline constexpr char const * kPlcInt = "types/plc/int";
inline constexpr char const * kPlcUint = "types/plc/uint";
inline constexpr char const * kPlcDint = "types/plc/dint";
inline constexpr char const * kPlcUdint = "types/plc/udint";
inline constexpr char const * kPlcLint = "types/plc/lint";
inline constexpr char const * kPlcUlint = "types/plc/ulint";
inline constexpr char const * kPlcReal = "types/plc/real";
inline constexpr char const * kPlcLreal = "types/plc/lreal";
inline constexpr char const * kPlcString = "types/plc/string";
inline constexpr char const * kPlcWstring = "types/plc/wstring";
inline constexpr char const * kPlcTime = "types/plc/time";
inline constexpr char const * kPlcTimeOfDay = "types/plc/time-of-day";
inline constexpr char const * kPlcDate = "types/plc/date";
inline constexpr char const * kPlcDateAndTime = "types/plc/date-and-time";
inline constexpr char const * kPlcLtime = "types/plc/ltime";
inline constexpr char const * kPlcArrayOfByte = "types/plc/array-of-byte";
inline constexpr char const * kPlcArrayOfWord = "types/plc/array-of-word";
inline constexpr char const * kPlcArrayOfDword = "types/plc/array-of-dword";
inline constexpr char const * kPlcArrayOfLword = "types/plc/array-of-lword";
inline constexpr char const * kPlcArrayOfSint = "types/plc/array-of-sint";
inline constexpr char const * kPlcArrayOfUsint = "types/plc/array-of-usint";
inline constexpr char const * kPlcArrayOfInt = "types/plc/array-of-int";
inline constexpr char const * kPlcArrayOfUint = "types/plc/array-of-uint";
inline constexpr char const * kPlcArrayOfDint = "types/plc/array-of-dint";
inline constexpr char const * kPlcArrayOfUdint = "types/plc/array-of-udint";
inline constexpr char const * kPlcArrayOfLint = "types/plc/array-of-lint";
inline constexpr char const * kPlcArrayOfUlint = "types/plc/array-of-ulint";
inline constexpr char const * kPlcArrayOfReal = "types/plc/array-of-real";
inline constexpr char const * kPlcArrayOfLreal = "types/plc/array-of-lreal";

} // namespace comm::nodebus::type_names
