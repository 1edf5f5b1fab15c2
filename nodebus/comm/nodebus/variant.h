#pragma once

#include <comm/nodebus/nb_result.h>
#include <comm/nodebus/variant_type.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace comm::nodebus {

/// A value of one of the service's types.
///
/// The fields are open, since a service reads them; who changes one keeps to what stands beside it.
///
/// Ownership  Of its buffer, unless `shared` says that it only points, and of `stringPointers` in any case. Moved, both
///            go along, and what was moved from is as new.
/// Threads    None: an object belongs to the operation that made it.
/// Errors     Setters answer NB_OK. Without memory they throw std::bad_alloc, and what they leave can be used and reset.
///            Readers check no type: with a wrong one the value means nothing, but nothing beyond it is read.
class Variant
{
public:
    VariantType type = VariantType::unknown;
    std::uint64_t data = 0;                 ///< a value in place, or the address of the buffer
    std::uint64_t size = 0;                 ///< of the buffer in bytes, 0 for a value in place
    bool shared = false;                    ///< the buffer is somebody else's; otherwise it came from new[] of bytes
    char const ** stringPointers = nullptr; ///< arrayOfString alone: where each text begins in the buffer, from new[]
    std::uint64_t stringCount = 0;          ///< arrayOfString alone

    Variant() noexcept = default;
    Variant(Variant const &) = delete;
    Variant & operator=(Variant const &) = delete;
    Variant(Variant && other) noexcept { take(other); }
    Variant & operator=(Variant && other) noexcept
    {
        if (this != &other) {
            reset();
            take(other);
        }
        return *this;
    }
    ~Variant()
    {
        reset();
        type = VariantType::unknown;
    }

    /// Releases what is owned and clears the value; `type` stays.
    void reset() noexcept
    {
        if (isBuffer(type) && !shared) {
            delete[] buffer();
        }
        delete[] stringPointers;
        data = 0;
        size = 0;
        shared = false;
        stringPointers = nullptr;
        stringCount = 0;
    }

    /// Where the value lies: the buffer, or `data` itself.
    void * dataPointer() noexcept { return isBuffer(type) ? static_cast<void *>(buffer()) : &data; }
    void const * dataPointer() const noexcept { return isBuffer(type) ? static_cast<void const *>(buffer()) : &data; }

    /// The size of the value in bytes.
    std::uint64_t getSize() const noexcept { return isBuffer(type) ? size : sizeInPlace(type); }

    // --- setters

    /// A scalar, of exactly the type of `value`: nothing is converted, least of all a pointer to bool.
    template <typename Value, typename = std::enable_if_t<kScalarTypeOf<Value> != VariantType::unknown>>
    NbResult setValue(Value value) noexcept
    {
        reset();
        type = kScalarTypeOf<Value>;
        std::memcpy(&data, &value, sizeof value);
        return NB_OK;
    }

    /// A text; the buffer holds a terminator behind it.
    NbResult setValue(std::string_view text)
    {
        Variant made;
        made.makeBuffer(VariantType::string, text.size() + 1);
        text.copy(static_cast<char *>(made.dataPointer()), text.size());
        *this = std::move(made);
        return NB_OK;
    }

    NbResult setValue(std::vector<bool> const & values)
    {
        makeBuffer(VariantType::arrayOfBool8, values.size());
        auto * element = static_cast<std::uint8_t *>(dataPointer());
        for (bool const value : values) {
            *element++ = value ? 1 : 0;
        }
        return NB_OK;
    }

    /// An array of one of the other scalars.
    template <typename Value, typename = std::enable_if_t<kScalarTypeOf<Value> != VariantType::unknown>>
    NbResult setValue(std::vector<Value> const & values)
    {
        return copy(arrayOf(kScalarTypeOf<Value>), values.data(), values.size() * sizeof(Value));
    }

    /// The texts, each up to its first zero byte and with a terminator, behind one another in one buffer.
    NbResult setValue(std::vector<std::string> const & texts)
    {
        std::uint64_t bytes = 0;
        for (std::string const & text : texts) {
            bytes += std::strlen(text.c_str()) + 1;
        }
        makeBuffer(VariantType::arrayOfString, bytes);
        stringCount = texts.size();
        if (texts.empty()) {
            return NB_OK;
        }
        stringPointers = new char const *[texts.size()];
        auto * position = static_cast<char *>(dataPointer());
        for (std::size_t i = 0; i < texts.size(); ++i) {
            std::size_t const bytesOfText = std::strlen(texts[i].c_str()) + 1;
            std::memcpy(position, texts[i].c_str(), bytesOfText);
            stringPointers[i] = position;
            position += bytesOfText;
        }
        return NB_OK;
    }

    NbResult setRaw(void const * bytes, std::uint64_t length) { return copy(VariantType::raw, bytes, length); }

    NbResult setTimestamp(std::uint64_t value) noexcept
    {
        (void)setValue(value);
        type = VariantType::timestamp;
        return NB_OK;
    }
    NbResult setTimestamps(std::vector<std::uint64_t> const & values)
    {
        return copy(VariantType::arrayOfTimestamp, values.data(), values.size() * sizeof(std::uint64_t));
    }

    /// Points at a finished flatbuffer without a copy; the buffer has to outlive what is read here.
    NbResult setFlatbuffersView(void const * address, std::uint64_t length) noexcept
    {
        reset();
        type = VariantType::flatbuffers;
        data = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(address));
        size = length;
        shared = true;
        return NB_OK;
    }
    NbResult setFlatbuffersCopy(void const * address, std::uint64_t length)
    {
        return copy(VariantType::flatbuffers, address, length);
    }

    // --- readers

    /// A scalar. A bool8 is true unless the whole of `data` is zero, and not its low byte alone.
    template <typename Value, typename = std::enable_if_t<kScalarTypeOf<Value> != VariantType::unknown>>
    Value getValue() const noexcept
    {
        if constexpr (std::is_same_v<Value, bool>) {
            return data != 0;
        } else {
            Value value;
            std::memcpy(&value, &data, sizeof value);
            return value;
        }
    }

    /// A string up to its terminator, valid as long as the buffer is.
    std::string_view getText() const noexcept
    {
        std::string_view const bytes(static_cast<char const *>(dataPointer()), getSize());
        return bytes.substr(0, bytes.find('\0'));
    }

    /// The elements of an array other than of strings; of bool8 each that is not zero is true.
    template <typename Value>
    std::vector<Value> getArray() const
    {
        using Element = std::conditional_t<std::is_same_v<Value, bool>, std::uint8_t, Value>;
        std::vector<Element> elements(getSize() / sizeof(Element));
        if (!elements.empty()) {
            std::memcpy(elements.data(), dataPointer(), elements.size() * sizeof(Element));
        }
        return std::vector<Value>(elements.begin(), elements.end());
    }

    std::vector<std::string> getStrings() const
    {
        std::vector<std::string> texts;
        if (stringPointers != nullptr) {
            texts.assign(stringPointers, stringPointers + stringCount);
        }
        return texts;
    }

private:
    std::uint8_t * buffer() const noexcept
    {
        // NOLINTNEXTLINE(performance-no-int-to-ptr): the field is a number or an address
        return reinterpret_cast<std::uint8_t *>(static_cast<std::uintptr_t>(data));
    }

    void take(Variant & other) noexcept
    {
        type = std::exchange(other.type, VariantType::unknown);
        data = std::exchange(other.data, 0);
        size = std::exchange(other.size, 0);
        shared = std::exchange(other.shared, false);
        stringPointers = std::exchange(other.stringPointers, nullptr);
        stringCount = std::exchange(other.stringCount, 0);
    }

    /// Begins a value in a buffer of zeros; an empty one is not allocated.
    void makeBuffer(VariantType newType, std::uint64_t bytes)
    {
        reset();
        type = newType;
        if (bytes != 0) {
            auto const * const made = new std::uint8_t[static_cast<std::size_t>(bytes)]();
            data = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(made));
            size = bytes;
        }
    }

    /// Made aside first, since `source` may lie in the buffer that goes.
    NbResult copy(VariantType newType, void const * source, std::uint64_t bytes)
    {
        Variant made;
        made.makeBuffer(newType, bytes);
        if (bytes != 0) {
            std::memcpy(made.dataPointer(), source, static_cast<std::size_t>(bytes));
        }
        *this = std::move(made);
        return NB_OK;
    }
};

} // namespace comm::nodebus
