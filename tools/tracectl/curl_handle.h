#pragma once

#include <curl/curl.h>

#include <memory>
#include <string>

namespace tracectl {

struct CurlEnd
{
    void operator()(CURL * handle) const { curl_easy_cleanup(handle); }
};
struct CurlMultiEnd
{
    void operator()(CURLM * handle) const { (void)curl_multi_cleanup(handle); }
};
struct CurlListEnd
{
    void operator()(curl_slist * list) const { curl_slist_free_all(list); }
};

using CurlHandle = std::unique_ptr<CURL, CurlEnd>;
using CurlMulti = std::unique_ptr<CURLM, CurlMultiEnd>;
using CurlHeaders = std::unique_ptr<curl_slist, CurlListEnd>;

/// A handle that speaks HTTP to a Unix socket and to nothing else, whatever the environment says of proxies.
///
/// @throws std::bad_alloc
CurlHandle curlHandle(std::string const & socketPath);

/// The target of the next call, which is taken as it is: no ".." is resolved.
void setTarget(CURL * handle, std::string const & target);

/// Ends a call that did not come to its end. That nobody takes the connection means that there is no host; all else
/// that its answer cannot be used.
[[noreturn]] void throwTransferFailure(CURL * handle, CURLcode result, std::string const & socketPath);

} // namespace tracectl
