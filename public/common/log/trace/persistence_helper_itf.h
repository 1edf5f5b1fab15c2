#pragma once

#include <comm/nodebus/variant.h>

#include <cstddef>
#include <cstdint>
#include <string>

/// What a persistence helper tells of its last failure. The library prints it and concludes nothing from it.
struct PersistenceDetailDiag
{
    std::int32_t diagFirst = 0;
    std::uint32_t diagCode = 0;
    std::int32_t diagThird = 0;
    std::string diagText;
};

/// The component of the host that stores enabling states, as a table of functions. Its layout is that of components
/// which exist: each member stands at its position, counted in pointers from 0, whether the library calls it or not.
///
/// Each function gets `instance` first, as it stands here, also where that is null. A file name is an opaque text, the
/// same for all of them. `typeData` is the binary schema of the saved buffer, and `request` what the library itself was
/// called with, unchanged: a flatbuffer of `comm::nodebus::PersistenceParam`, or anything else.
/// What is handed over is valid during the call only.
///
/// Ownership  The host's. A Manager keeps the pointer that it was given and never writes to the table.
/// Threads    Called on whichever thread saves, loads, deletes or registers, at once on several, with no lock of the
///            library held: a function may take its time, trace, and call the Manager.
/// Real time  None of it.
/// Errors     A negative result is a failure, its value is not looked at. `getDetailDiag` follows at once, on the same
///            thread, and fills in all members.
struct PersistenceHelperItf
{
    using Variant = comm::nodebus::Variant;

    void * instance = nullptr;
    void * notCalled1[4] = {};

    /// Fills `out`, which comes in empty, with the saved buffer: one from new[] of bytes, or one that is somebody
    /// else's, with `shared` set, and outlives `out`. It is read without a check, so that it has to be a sound one with
    /// every required field.
    std::int32_t (*loadDirect)(void * instance, std::string const & fileName, Variant const & typeData,
                               Variant & out) = nullptr;
    void * notCalled6[13] = {};

    /// Whether something is saved.
    bool (*existsDirect)(void * instance, std::string const & fileName) = nullptr;
    void * notCalled20[1] = {};

    std::int32_t (*getDetailDiag)(void * instance, PersistenceDetailDiag & diag) = nullptr; ///< the result is ignored
    void * notCalled22[2] = {};

    /// Stores `data`, a finished buffer of the type `typeName`, in place of what is saved.
    std::int32_t (*saveForRequest)(void * instance, Variant const & request, Variant const & data,
                                   Variant const & typeData, std::string const & typeName,
                                   std::string const & fileName) = nullptr;
    void * notCalled25[3] = {};

    /// Like loadDirect.
    std::int32_t (*loadForRequest)(void * instance, Variant const & request, std::string const & fileName,
                                   Variant const & typeData, Variant & out) = nullptr;
    void * notCalled29[9] = {};

    /// Deletes what is saved.
    std::int32_t (*removeForRequest)(void * instance, Variant const & request, std::string const & fileName) = nullptr;
    void * notCalled39[3] = {};

    /// Like existsDirect.
    bool (*existsForRequest)(void * instance, Variant const & request, std::string const & fileName) = nullptr;
};

static_assert(offsetof(PersistenceHelperItf, instance) == 0);
static_assert(offsetof(PersistenceHelperItf, loadDirect) == 5 * sizeof(void *));
static_assert(offsetof(PersistenceHelperItf, existsDirect) == 19 * sizeof(void *));
static_assert(offsetof(PersistenceHelperItf, getDetailDiag) == 21 * sizeof(void *));
static_assert(offsetof(PersistenceHelperItf, saveForRequest) == 24 * sizeof(void *));
static_assert(offsetof(PersistenceHelperItf, loadForRequest) == 28 * sizeof(void *));
static_assert(offsetof(PersistenceHelperItf, removeForRequest) == 38 * sizeof(void *));
static_assert(offsetof(PersistenceHelperItf, existsForRequest) == 42 * sizeof(void *));
