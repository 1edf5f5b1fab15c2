#pragma once

#include <common/log/export.h>

#include <string>

namespace common::log {

/// Name of the software package that the host runs in, from the environment variable SNAP_NAME.
///
/// Read once, by the constructor: "unknownSnap" where the variable is not set, the empty text where it is set and
/// empty. A later change of the environment is not seen.
///
/// Threads    Read-only after construction. The constructor reads the environment, which no other thread may change
///            meanwhile.
/// Real time  getSnapName is safe; the constructor allocates.
class COMMON_LOG_EXPORT SnapName
{
public:
    SnapName();
    SnapName(SnapName const &) = default;
    SnapName & operator=(SnapName const &) = default;
    virtual ~SnapName();

    /// Valid as long as this object.
    std::string const & getSnapName() const;

private:
    void setSnapName();

    std::string m_name;
};

/// The name as it was when the library was loaded, for whoever can neither allocate nor wait. Ahead of the library's
/// own initialisation, thus in an object that another file of the program initialises before main, it may still be
/// "unknownSnap".
///
/// Ownership  Valid until the process ends, or a library that was loaded at run time is unloaded.
/// Real time  Safe.
COMMON_LOG_EXPORT char const * snapNameText() noexcept;

} // namespace common::log
