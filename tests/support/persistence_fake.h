#pragma once

#include <common/log/snap_name.h>
#include <common/log/trace/persistence_helper_itf.h>

#include <gtest/gtest.h>

#include <functional>
#include <mutex>
#include <string>

namespace common::log::test {

/// A persistence helper that answers what a test tells it to, and keeps what it was called with. At the start nothing is
/// saved. One at a time: it finds itself without its `instance`, which is null.
struct PersistenceFake
{
    using Variant = comm::nodebus::Variant;

    PersistenceFake()
    {
        g_fake = this;
        itf.existsDirect = [](auto me, auto & file) { return called("existsDirect", me, file).exists; };
        itf.existsForRequest = [](auto me, auto & data, auto & file) {
            return called("exists", me, file, &data).exists;
        };
        itf.loadDirect = [](auto me, auto & file, auto & /*type*/, auto & out) {
            return called("loadDirect", me, file).load(out);
        };
        itf.loadForRequest = [](auto me, auto & data, auto & file, auto & /*type*/, auto & out) {
            return called("load", me, file, &data).load(out);
        };
        itf.saveForRequest = [](auto me, auto & data, auto & states, auto & type, auto & name, auto & file) {
            called("save " + name, me, file, &data).saved = bytesOf(states);
            g_fake->typeData = bytesOf(type);
            return g_fake->result;
        };
        itf.removeForRequest = [](auto me, auto & data, auto & file) {
            return called("remove", me, file, &data).result;
        };
        itf.getDetailDiag = [](auto me, auto & out) { return out = called("diag", me, fileName()).diag, -1; };
    }
    static std::string fileName() { return "trace/enablingstates_" + SnapName().getSnapName() + ".json"; }
    static std::string bytesOf(Variant const & data)
    {
        return {static_cast<char const *>(data.dataPointer()), static_cast<std::size_t>(data.getSize())};
    }
    static PersistenceFake & called(std::string const & function, void const * self, std::string const & file,
                                    Variant const * data = nullptr)
    {
        EXPECT_TRUE(self == g_fake->itf.instance && file == fileName()) << function;
        g_fake->during();
        std::lock_guard<std::mutex> const lock(g_fake->mutex);
        g_fake->calls += function + " ";
        g_fake->request = data != nullptr ? data : g_fake->request;
        return *g_fake;
    }
    std::int32_t load(Variant & out) const { return (void)out.setFlatbuffersCopy(saved.data(), saved.size()), result; }

    static inline PersistenceFake * g_fake = nullptr;
    PersistenceHelperItf itf;
    bool exists = false;
    std::int32_t result = 5; ///< anything but a negative one is a success
    PersistenceDetailDiag diag{-1, 0xAB, 2, "disk full"};
    std::string saved;                    ///< by the last save; what a load gives
    std::string typeData;                 ///< of the last save
    std::function<void()> during = [] {}; ///< runs inside each call
    std::string calls;                    ///< each with a blank behind it
    Variant const * request = nullptr;
    std::mutex mutex;
};

} // namespace common::log::test
