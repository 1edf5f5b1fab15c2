#pragma once

/// Lets the error stream keep its line ends as they are written, so that records have the same bytes on every system. To
/// be called ahead of the first record.
void keepLineEndsOfErrorStream();
