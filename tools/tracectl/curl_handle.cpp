#include "curl_handle.h"

#include "failure.h"

#include <cerrno>
#include <new>
#include <system_error>

namespace tracectl {

namespace {

constexpr long kReceiveBytes = 256L * 1024;

/// The options here are known to the library that was linked, so that only memory can lack.
template <typename Value>
void set(CURL * handle, CURLoption option, Value value)
{
    if (curl_easy_setopt(handle, option, value) == CURLE_OUT_OF_MEMORY) {
        throw std::bad_alloc();
    }
}

} // namespace

CurlHandle curlHandle(std::string const & socketPath)
{
    CurlHandle handle(curl_easy_init());
    if (handle == nullptr) {
        throw std::bad_alloc();
    }
    set(handle.get(), CURLOPT_UNIX_SOCKET_PATH, socketPath.c_str());
    set(handle.get(), CURLOPT_PROXY, "");
    set(handle.get(), CURLOPT_PROTOCOLS_STR, "http");
    set(handle.get(), CURLOPT_PATH_AS_IS, 1L);
    set(handle.get(), CURLOPT_NOSIGNAL, 1L);
    set(handle.get(), CURLOPT_CONNECTTIMEOUT, 5L);
    set(handle.get(), CURLOPT_BUFFERSIZE, kReceiveBytes);
    return handle;
}

void setTarget(CURL * handle, std::string const & target)
{
    set(handle, CURLOPT_URL, ("http://host" + target).c_str());
}

void throwTransferFailure(CURL * handle, CURLcode result, std::string const & socketPath)
{
    long systemError = 0;
    (void)curl_easy_getinfo(handle, CURLINFO_OS_ERRNO, &systemError);
    std::string const reason =
        systemError != 0 ? std::generic_category().message(static_cast<int>(systemError)) : curl_easy_strerror(result);
    switch (result) {
    case CURLE_COULDNT_RESOLVE_HOST: // what a path that is too long ends in
    case CURLE_COULDNT_CONNECT:
        throw Failure(Status::noHost, "no host at " + socketPath + ": " + reason);
    case CURLE_OPERATION_TIMEDOUT:
        throw Failure(Status::refused, "the host at " + socketPath + " does not answer");
    case CURLE_OUT_OF_MEMORY:
        throw std::bad_alloc();
    case CURLE_PARTIAL_FILE:
    case CURLE_GOT_NOTHING:
    case CURLE_RECV_ERROR:
    case CURLE_SEND_ERROR:
        throw Failure(Status::refused, "the host at " + socketPath + " ended the connection in the midst of a call");
    default:
        throw Failure(Status::refused,
                      "the answer of the host at " + socketPath + " cannot be used: " + curl_easy_strerror(result));
    }
}

} // namespace tracectl
