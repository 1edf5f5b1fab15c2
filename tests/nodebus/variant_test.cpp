#include <comm/nodebus.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace comm::nodebus {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

VariantType typeOf(std::uint32_t tag) { return static_cast<VariantType>(tag); }

bool isFresh(Variant const & value)
{
    return value.data == 0 && value.size == 0 && !value.shared && value.stringPointers == nullptr &&
           value.stringCount == 0;
}

TEST(Variant, LiesInPlaceOrInABufferAccordingToItsTag)
{
    // By tag; 0 stands for a buffer. Neither kind may be released here: what `data` points to is no allocation.
    constexpr std::uint64_t kSizesInPlace[] = {1, 1, 1, 1, 2, 2, 4, 4, 8, 8, 4, 8, 0, 0, 0,
                                               0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 8, 0};
    std::uint32_t tag = 0;
    for (std::uint64_t const size : kSizesInPlace) {
        SCOPED_TRACE(tag);
        Variant value;
        value.type = typeOf(tag++);
        value.data = reinterpret_cast<std::uintptr_t>(&tag);
        value.size = 77;
        value.shared = size == 0;
        EXPECT_EQ(value.getSize(), size == 0 ? 77 : size);
        EXPECT_EQ(value.dataPointer(), size == 0 ? static_cast<void const *>(&tag) : &value.data);
        value.reset();
        EXPECT_TRUE(isFresh(value));
        EXPECT_EQ(value.type, typeOf(tag - 1)) << "stays";
    }
}

template <typename Value>
void checkNumber(std::uint32_t tag, Value /*of this type*/)
{
    SCOPED_TRACE(tag);
    constexpr Value kLowest = std::numeric_limits<Value>::lowest();
    Variant value;
    (void)value.setValue(kLowest);
    EXPECT_EQ(value.type, typeOf(tag));
    EXPECT_EQ(value.getValue<Value>(), kLowest);
    (void)value.setValue(std::vector<Value>{kLowest, Value{1}});
    EXPECT_EQ(value.type, typeOf(tag + 12));
    EXPECT_EQ(value.getSize(), 2 * sizeof(Value));
    EXPECT_THAT(value.getArray<Value>(), ElementsAre(kLowest, Value{1}));
}

TEST(Variant, GivesBackWhatItWasSetTo)
{
    std::uint32_t tag = 2;
    std::apply([&tag](auto... numbers) { (checkNumber(tag++, numbers), ...); },
               std::tuple<std::int8_t, std::uint8_t, std::int16_t, std::uint16_t, std::int32_t, std::uint32_t,
                          std::int64_t, std::uint64_t, float, double>());

    Variant value;
    (void)value.setValue("text"); // a pointer, and no bool
    EXPECT_EQ(value.type, VariantType::string);
    EXPECT_EQ(value.getText(), "text");
    (void)value.setValue(value.getText().substr(2)); // of its own buffer
    EXPECT_EQ(value.getText(), "xt");
    EXPECT_EQ(value.getSize(), 3U);
    (void)value.setTimestamp(5);
    EXPECT_EQ(value.type, typeOf(27));
    EXPECT_EQ(value.getValue<std::uint64_t>(), 5U);
    (void)value.setTimestamps({5, 6});
    EXPECT_EQ(value.type, typeOf(28));
    (void)value.setRaw("raw", 3);
    EXPECT_EQ(value.type, typeOf(25));
    EXPECT_THAT(value.getArray<char>(), ElementsAre('r', 'a', 'w'));
}

TEST(Variant, OfBooleansHasOneByteForEach)
{
    Variant value;
    EXPECT_EQ(value.setValue({true, false, true}), NB_OK);
    EXPECT_EQ(value.type, typeOf(13));
    EXPECT_THAT(value.getArray<std::uint8_t>(), ElementsAre(1, 0, 1));
    static_cast<std::uint8_t *>(value.dataPointer())[1] = 0x80;
    EXPECT_THAT(value.getArray<bool>(), ElementsAre(true, true, true));
    (void)value.setValue(std::vector<bool>());
    EXPECT_TRUE(isFresh(value)) << "no allocation for no element";

    (void)value.setValue(true);
    EXPECT_EQ(value.type, typeOf(1));
    value.data = 0x100;
    EXPECT_TRUE(value.getValue<bool>()) << "the whole field counts, not its low byte";
    (void)value.setValue(false);
    EXPECT_FALSE(value.getValue<bool>());
}

TEST(Variant, OfStringsPointsAtEachUpToItsFirstZeroByte)
{
    Variant value;
    EXPECT_EQ(value.setValue(std::vector<std::string>{"a", "", std::string("bb\0c", 4)}), NB_OK);
    EXPECT_EQ(value.type, typeOf(24));
    EXPECT_EQ(std::string(static_cast<char const *>(value.dataPointer()), value.getSize()), std::string("a\0\0bb", 6));
    EXPECT_THAT(value.getStrings(), ElementsAre("a", "", "bb"));
    EXPECT_EQ(value.stringPointers[2], static_cast<char const *>(value.dataPointer()) + 3);

    (void)value.setValue(std::vector<std::string>());
    EXPECT_TRUE(isFresh(value));
    EXPECT_THAT(value.getStrings(), IsEmpty());
}

TEST(Variant, ReleasesWhatItOwnsOnceAndNothingElse)
{
    std::string const buffer = "flatbuffer";
    Variant view;
    (void)view.setFlatbuffersView(buffer.data(), buffer.size());
    EXPECT_EQ(view.type, typeOf(26));
    EXPECT_TRUE(view.shared);
    EXPECT_EQ(view.dataPointer(), buffer.data());

    Variant copy;
    (void)copy.setFlatbuffersCopy(view.dataPointer(), view.getSize());
    (void)copy.setFlatbuffersCopy(copy.dataPointer(), copy.getSize()); // of itself
    EXPECT_FALSE(copy.shared);
    EXPECT_EQ(std::string(static_cast<char const *>(copy.dataPointer()), copy.getSize()), buffer);

    Variant strings;
    (void)strings.setValue(std::vector<std::string>{"a", "b"});
    Variant moved(std::move(strings));
    EXPECT_TRUE(isFresh(strings) && strings.type == VariantType::unknown); // NOLINT(bugprone-use-after-move): as new
    Variant & same = moved;
    moved = std::move(same);
    EXPECT_THAT(moved.getStrings(), ElementsAre("a", "b"));
    copy = std::move(moved);
    EXPECT_THAT(copy.getStrings(), ElementsAre("a", "b"));
    delete[] static_cast<std::uint8_t *>(copy.dataPointer());
    copy.data = reinterpret_cast<std::uintptr_t>(buffer.data());
    copy.shared = true; // what is left of its own are the pointers
}

} // namespace

} // namespace comm::nodebus
