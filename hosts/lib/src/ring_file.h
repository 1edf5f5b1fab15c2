#pragma once

#include "ring_format.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

namespace common::log::host {

/// An open file, closed at the end, and with it its lock.
class RingDescriptor
{
public:
    explicit RingDescriptor(int number) : m_number(number) {}
    RingDescriptor(RingDescriptor && other) noexcept : m_number(std::exchange(other.m_number, -1)) {}
    RingDescriptor & operator=(RingDescriptor &&) = delete;
    ~RingDescriptor();

    int number() const { return m_number; }

private:
    int m_number;
};

/// A mapped file.
class RingMapping
{
public:
    enum class Access
    {
        read,
        write ///< with pages that are there already
    };

    /// @throws std::system_error
    RingMapping(RingDescriptor const & file, std::size_t bytes, Access access);
    RingMapping(RingMapping const &) = delete;
    RingMapping & operator=(RingMapping const &) = delete;
    ~RingMapping();

    void * data() const { return m_data; }

private:
    void * m_data;
    std::size_t m_bytes;
};

/// What tells a file from any other one.
struct RingFileKey
{
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::uint64_t bytes = 0;
    bool isRegular = false;
};

/// All of these throw std::system_error, with the path, where the system refuses.
RingDescriptor openRing(std::string const & path);
RingFileKey keyOf(RingDescriptor const & file);
/// Of what is there under this name; without an inode where nothing is.
RingFileKey keyOf(std::string const & path);

/// Its first page; filled up with zeros where the file is shorter, or a folder.
struct alignas(64) RingPage
{
    RingIdentity identity() const;

    std::uint64_t words[kRingPageBytes / 8]{};
};
RingPage pageOf(RingDescriptor const & file);

/// Whether somebody writes it, found out without holding up anybody who wants to begin with that.
bool isRingWritten(RingDescriptor const & file);

/// The name of a ring, held against all other writers while it lives, by a lock on `PATH.lock`. That file stays: taken
/// away, a second writer could hold another one of the same name.
class RingName
{
public:
    /// @throws std::system_error  EBUSY where a living process has it
    explicit RingName(std::string path);

    std::string const & path() const { return m_path; }
    /// The last number of the ring that lies there; 0 where nothing does, or no ring.
    ///
    /// @throws std::system_error  where it cannot be read
    std::uint64_t lastNumber() const;

    /// An empty file beside it with all its blocks, locked as written. What is left of an earlier one goes.
    RingDescriptor makeNext(std::uint64_t bytes) const;
    /// Sets aside what is there and puts the next one in its place. The name is never without a file between.
    void putNextInPlace() const;
    void removeNext() const noexcept;

private:
    std::string m_path;
    RingDescriptor m_lock;
};

/// 32 random digits.
std::string makeRunName();
/// Empty where the system does not tell.
std::string bootName();
std::int64_t thisProcess();

} // namespace common::log::host
