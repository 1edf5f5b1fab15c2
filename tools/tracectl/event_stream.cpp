#include "event_stream.h"

#include "curl_handle.h"
#include "door_client.h"

#include <algorithm>
#include <array>
#include <exception>
#include <new>
#include <string_view>
#include <utility>

namespace tracectl {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kFirstEvent(5);
constexpr std::chrono::seconds kSignOfLife(45); ///< three comments of the door
constexpr std::size_t kMostRefusalBytes = std::size_t{1024} * 1024;
constexpr long kDone = 200;

/// How much is received in one go, ahead of looking at what came.
constexpr std::size_t kGoBytes = std::size_t{1024} * 1024;

} // namespace

struct EventStream::Transfer
{
    CurlMulti multi{curl_multi_init()};
    CurlHeaders headers;
    CurlHandle handle;
    EventParser parser;
    std::function<void(Event &&)> const * take = nullptr;
    std::string refusal;
    std::exception_ptr failure;
    std::size_t received = 0; ///< in this go
    bool hasEvents = false;
    Clock::time_point lastSign = Clock::now();

    ~Transfer()
    {
        if (multi != nullptr && handle != nullptr) {
            (void)curl_multi_remove_handle(multi.get(), handle.get());
        }
    }

    long status() const
    {
        long number = 0;
        (void)curl_easy_getinfo(handle.get(), CURLINFO_RESPONSE_CODE, &number);
        return number;
    }

    bool isEventStream() const
    {
        char const * type = nullptr;
        (void)curl_easy_getinfo(handle.get(), CURLINFO_CONTENT_TYPE, &type);
        return type != nullptr && std::string_view(type).substr(0, 17) == "text/event-stream";
    }

    void accept(std::string_view text)
    {
        received += text.size();
        lastSign = Clock::now();
        if (status() != kDone) {
            refusal.append(text.substr(0, kMostRefusalBytes - std::min(refusal.size(), kMostRefusalBytes)));
            return;
        }
        if (!isEventStream()) {
            throw Failure(Status::refused, "the host answered with what is no event stream");
        }
        parser.feed(text, [this](Event && event) {
            hasEvents = true;
            (*take)(std::move(event));
        });
    }

    static std::size_t write(char const * data, std::size_t size, std::size_t count, void * transfer)
    {
        auto & self = *static_cast<Transfer *>(transfer);
        try {
            self.accept({data, size * count});
            return size * count;
        } catch (...) {
            self.failure = std::current_exception(); // nothing may be thrown through a library of C
            return 0;
        }
    }
};

EventStream::EventStream(std::string const & socketPath, std::string const & target, std::string const & lastEventId)
    : m_transfer(std::make_unique<Transfer>())
{
    Transfer & transfer = *m_transfer;
    transfer.handle = curlHandle(socketPath);
    CURL * const handle = transfer.handle.get();
    setTarget(handle, target);
    (void)curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, &Transfer::write);
    (void)curl_easy_setopt(handle, CURLOPT_WRITEDATA, &transfer);
    if (!lastEventId.empty()) {
        transfer.headers.reset(curl_slist_append(nullptr, ("Last-Event-ID: " + lastEventId).c_str()));
        (void)curl_easy_setopt(handle, CURLOPT_HTTPHEADER, transfer.headers.get());
    }
    if (transfer.multi == nullptr || curl_multi_add_handle(transfer.multi.get(), handle) != CURLM_OK ||
        (!lastEventId.empty() && transfer.headers == nullptr)) {
        throw std::bad_alloc();
    }
}

EventStream::~EventStream() = default;

bool EventStream::receive(std::function<void(Event && event)> const & take)
{
    Transfer & transfer = *m_transfer;
    transfer.take = &take;
    int running = 1;
    std::size_t before = 0;
    transfer.received = 0;
    do {
        before = transfer.received;
        (void)curl_multi_perform(transfer.multi.get(), &running);
    } while (running > 0 && transfer.received > before && transfer.received < kGoBytes);
    if (transfer.failure) {
        std::rethrow_exception(transfer.failure);
    }
    if (running == 0 && transfer.status() > 0 && transfer.status() != kDone) {
        throw Refusal(transfer.status(), transfer.refusal);
    }
    return running > 0 && Clock::now() - transfer.lastSign < (transfer.hasEvents ? kSignOfLife : kFirstEvent);
}

void EventStream::wait(int readable, int writable, std::chrono::milliseconds time)
{
    std::array<curl_waitfd, 2> descriptors{};
    unsigned int count = 0;
    for (auto const & [descriptor, event] : {std::pair{readable, CURL_WAIT_POLLIN}, {writable, CURL_WAIT_POLLOUT}}) {
        if (descriptor >= 0) {
            descriptors[count] = {descriptor, static_cast<short>(event), 0};
            count += 1;
        }
    }
    (void)curl_multi_poll(m_transfer->multi.get(), descriptors.data(), count, static_cast<int>(time.count()), nullptr);
}

} // namespace tracectl
