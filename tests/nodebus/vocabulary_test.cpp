#include <comm/nodebus.h>

#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

namespace comm::nodebus {

namespace {

/// The names of consecutive codes, from the first on.
std::map<std::uint32_t, std::string> const kTable{
    {0x00000000, "NB_OK NB_OK_NO_CONTENT"},
    {0x80000001, "NB_FAILED"},
    {0x80010001, "NB_INVALID_ADDRESS NB_UNSUPPORTED NB_OUT_OF_MEMORY NB_LIMIT_MIN NB_LIMIT_MAX NB_TYPE_MISMATCH "
                 "NB_SIZE_MISMATCH unknown NB_INVALID_FLOATINGPOINT NB_INVALID_HANDLE NB_INVALID_OPERATION_MODE "
                 "NB_INVALID_CONFIGURATION NB_INVALID_VALUE NB_SUBMODULE_FAILURE NB_TIMEOUT NB_ALREADY_EXISTS "
                 "NB_CREATION_FAILED NB_VERSION_MISMATCH NB_DEPRECATED NB_PERMISSION_DENIED NB_NOT_INITIALIZED "
                 "NB_MISSING_ARGUMENT NB_TOO_MANY_ARGUMENTS NB_RESOURCE_UNAVAILABLE NB_COMMUNICATION_ERROR "
                 "NB_TOO_MANY_OPERATIONS NB_WOULD_BLOCK"},
    {0x80020001, "NB_COMM_PROTOCOL_ERROR NB_COMM_INVALID_HEADER"},
    {0x80030001, "NB_CLIENT_NOT_CONNECTED"},
    {0x80060001, "NB_RT_NOTOPEN NB_RT_INVALIDOBJECT NB_RT_WRONGREVISON NB_RT_NOVALIDDATA NB_RT_MEMORYLOCKED "
                 "NB_RT_INVALIDMEMORYMAP NB_RT_INVALID_RETAIN NB_RT_INTERNAL_ERROR"},
    {0x80070001, "NB_SEC_NOTOKEN NB_SEC_INVALIDSESSION NB_SEC_INVALIDTOKENCONTENT NB_SEC_UNAUTHORIZED"}};

TEST(NbResult, HasTheNamesOfItsTableAndNoOthers)
{
    for (auto const & [first, names] : kTable) {
        EXPECT_STREQ(NbResult{first - 1}.toString(), "unknown") << first;
        std::istringstream stream(names + " unknown");
        std::string name;
        for (std::uint32_t code = first; stream >> name; ++code) {
            EXPECT_EQ(NbResult{code}.toString(), name);
            EXPECT_EQ(isFailure(NbResult{code}), first != 0) << code;
        }
    }
    EXPECT_EQ(NB_SEC_UNAUTHORIZED, NbResult{0x80070004});
}

TEST(Address, SplitsAtSeparatorsAndDropsWhatIsEmpty)
{
    using Split = std::tuple<char const *, std::vector<std::string>, char const *>;
    for (auto const & [path, parts, normalized] :
         {Split{"", {}, ""}, Split{"/", {}, ""}, Split{"///", {}, ""}, Split{"one", {"one"}, "one/"},
          Split{"one/", {"one"}, "one/"}, Split{"/one//two/", {"one", "two"}, "one/two/"},
          Split{"//one.1/two///three", {"one.1", "two", "three"}, "one.1/two/three/"}}) {
        Address const address(path);
        EXPECT_EQ(address.parts, parts) << path;
        EXPECT_EQ(address.normalized, normalized) << path;
    }
}

} // namespace

} // namespace comm::nodebus
