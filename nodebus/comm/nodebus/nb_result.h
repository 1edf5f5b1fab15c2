#pragma once

#include <cstdint>

namespace comm::nodebus {

/// Result of a node operation: a code, passed by value. Whether it is a failure says `isFailure` alone, since there is
/// more than one success.
///
/// A code that stands in no table is carried like any other.
struct NbResult
{
    std::uint32_t code = 0;

    /// The name of the code as it stands in the table below, "unknown" for any other. Lives for the whole run.
    ///
    /// Real time  Safe: a look-up that neither allocates nor fails.
    constexpr char const * toString() const noexcept;
};

constexpr bool operator==(NbResult left, NbResult right) noexcept { return left.code == right.code; }
constexpr bool operator!=(NbResult left, NbResult right) noexcept { return left.code != right.code; }

constexpr bool isFailure(NbResult result) noexcept { return (result.code & 0x80000000U) != 0; }

// One list for the constants and their texts, so that no name has two spellings; clients know the texts, so none is put
// right either. 0x80010008 has no name.
#define COMM_NODEBUS_RESULTS(RESULT)                                                                                   \
    RESULT(NB_OK, 0x00000000U)                                                                                         \
    RESULT(NB_OK_NO_CONTENT, 0x00000001U)                                                                              \
    RESULT(NB_FAILED, 0x80000001U)                                                                                     \
    RESULT(NB_INVALID_ADDRESS, 0x80010001U)                                                                            \
    RESULT(NB_UNSUPPORTED, 0x80010002U)                                                                                \
    RESULT(NB_OUT_OF_MEMORY, 0x80010003U)                                                                              \
    RESULT(NB_LIMIT_MIN, 0x80010004U)                                                                                  \
    RESULT(NB_LIMIT_MAX, 0x80010005U)                                                                                  \
    RESULT(NB_TYPE_MISMATCH, 0x80010006U)                                                                              \
    RESULT(NB_SIZE_MISMATCH, 0x80010007U)                                                                              \
    RESULT(NB_INVALID_FLOATINGPOINT, 0x80010009U)                                                                      \
    RESULT(NB_INVALID_HANDLE, 0x8001000AU)                                                                             \
    RESULT(NB_INVALID_OPERATION_MODE, 0x8001000BU)                                                                     \
    RESULT(NB_INVALID_CONFIGURATION, 0x8001000CU)                                                                      \
    RESULT(NB_INVALID_VALUE, 0x8001000DU)                                                                              \
    RESULT(NB_SUBMODULE_FAILURE, 0x8001000EU)                                                                          \
    RESULT(NB_TIMEOUT, 0x8001000FU)                                                                                    \
    RESULT(NB_ALREADY_EXISTS, 0x80010010U)                                                                             \
    RESULT(NB_CREATION_FAILED, 0x80010011U)                                                                            \
    RESULT(NB_VERSION_MISMATCH, 0x80010012U)                                                                           \
    RESULT(NB_DEPRECATED, 0x80010013U)                                                                                 \
    RESULT(NB_PERMISSION_DENIED, 0x80010014U)                                                                          \
    RESULT(NB_NOT_INITIALIZED, 0x80010015U)                                                                            \
    RESULT(NB_MISSING_ARGUMENT, 0x80010016U)                                                                           \
    RESULT(NB_TOO_MANY_ARGUMENTS, 0x80010017U)                                                                         \
    RESULT(NB_RESOURCE_UNAVAILABLE, 0x80010018U)                                                                       \
    RESULT(NB_COMMUNICATION_ERROR, 0x80010019U)                                                                        \
    RESULT(NB_TOO_MANY_OPERATIONS, 0x8001001AU)                                                                        \
    RESULT(NB_WOULD_BLOCK, 0x8001001BU)                                                                                \
    RESULT(NB_COMM_PROTOCOL_ERROR, 0x80020001U)                                                                        \
    RESULT(NB_COMM_INVALID_HEADER, 0x80020002U)                                                                        \
    RESULT(NB_CLIENT_NOT_CONNECTED, 0x80030001U)                                                                       \
    RESULT(NB_RT_NOTOPEN, 0x80060001U)                                                                                 \
    RESULT(NB_RT_INVALIDOBJECT, 0x80060002U)                                                                           \
    RESULT(NB_RT_WRONGREVISON, 0x80060003U)                                                                            \
    RESULT(NB_RT_NOVALIDDATA, 0x80060004U)                                                                             \
    RESULT(NB_RT_MEMORYLOCKED, 0x80060005U)                                                                            \
    RESULT(NB_RT_INVALIDMEMORYMAP, 0x80060006U)                                                                        \
    RESULT(NB_RT_INVALID_RETAIN, 0x80060007U)                                                                          \
    RESULT(NB_RT_INTERNAL_ERROR, 0x80060008U)                                                                          \
    RESULT(NB_SEC_NOTOKEN, 0x80070001U)                                                                                \
    RESULT(NB_SEC_INVALIDSESSION, 0x80070002U)                                                                         \
    RESULT(NB_SEC_INVALIDTOKENCONTENT, 0x80070003U)                                                                    \
    RESULT(NB_SEC_UNAUTHORIZED, 0x80070004U)

#define COMM_NODEBUS_CONSTANT(name, value) inline constexpr NbResult name{value};
COMM_NODEBUS_RESULTS(COMM_NODEBUS_CONSTANT)
#undef COMM_NODEBUS_CONSTANT

constexpr char const * NbResult::toString() const noexcept
{
#define COMM_NODEBUS_CASE(name, value)                                                                                 \
    case value:                                                                                                        \
        return #name;

    switch (code) {
        COMM_NODEBUS_RESULTS(COMM_NODEBUS_CASE)
    default:
        return "unknown";
    }
#undef COMM_NODEBUS_CASE
}

#undef COMM_NODEBUS_RESULTS

} // namespace comm::nodebus
