#pragma once

#include <string>
#include <string_view>

namespace common::log::trace {

/// Shortens `name` to its next dotted ancestor: "a.b.c" to "a.b", that to "a", and ".a" to the empty text.
///
/// @return false where it has none, and stays as it is
bool cutToAncestor(std::string & name);

/// Whether `ancestor` is the part of `name` ahead of one of its dots.
bool isAncestor(std::string_view ancestor, std::string_view name);

/// Which texts are ancestors of registered names, as far as a small table of counters can tell: it never misses one, and
/// may take another text for one. So that a name which is nobody's ancestor, as nearly all are, need not be held against
/// each registered one.
///
/// One for all managers of the process, since it only ever says where it is worth to look. Each counts what it holds.
///
/// Threads    Any. A manager sees what it counted itself, under its own lock.
namespace ancestor_filter {

void countAncestorsOf(std::string_view name);
void discountAncestorsOf(std::string_view name);
bool mayBeAncestor(std::string_view text);

} // namespace ancestor_filter

} // namespace common::log::trace
