#include "door_client.h"

#include "curl_handle.h"

#include <common/log/host/record_text.h>

#include <algorithm>
#include <array>
#include <exception>
#include <new>

namespace tracectl {

using common::log::host::printable;

namespace {

constexpr long kAnswerSeconds = 5;
constexpr std::size_t kMostAnswerBytes = std::size_t{256} * 1024 * 1024; ///< of a plain answer, and of one line
constexpr std::size_t kMostRefusalBytes = std::size_t{1024} * 1024;
constexpr long kFirstRefusal = 300;

bool isPlain(char character)
{
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
           (character >= '0' && character <= '9') || character == '-' || character == '.' || character == '_' ||
           character == '~';
}

std::string textIn(Json const & object, char const * name)
{
    auto const found = object.find(name);
    return found != object.end() && found->is_string() ? found->get<std::string>() : std::string();
}

/// The field "error" of a refusal; an empty object where there is none.
Json errorIn(std::string const & body)
{
    Json const answer = Json::parse(body, nullptr, false);
    auto const error = answer.is_object() ? answer.find("error") : answer.end();
    return answer.is_object() && error != answer.end() && error->is_object() ? *error : Json::object();
}

std::string refusalText(long status, Json const & error)
{
    std::string text = printable(textIn(error, "text"));
    if (text.empty()) {
        return "refused by the host with status " + std::to_string(status);
    }
    std::string const details = printable(textIn(error, "what"));
    if (details.empty()) {
        return text;
    }
    text.erase(text.find_last_not_of('.') + 1); // the end of the sentence
    return text + ": " + details;
}

} // namespace

Refusal::Refusal(long status, std::string const & body)
    : Failure(Status::refused, refusalText(status, errorIn(body))), m_code(textIn(errorIn(body), "code"))
{
    Json const error = errorIn(body);
    auto const details = error.find("what");
    m_details = details != error.end() ? *details : Json();
}

struct DoorClient::Connection
{
    CurlHandle handle;
    std::string body;
    std::function<void(std::string_view)> takeLine; ///< none while an answer is gathered as a whole
    std::exception_ptr failure;                     ///< of the function above
    long status = 0;

    /// @return whether more is wanted
    bool take(std::string_view text)
    {
        if (status == 0) {
            (void)curl_easy_getinfo(handle.get(), CURLINFO_RESPONSE_CODE, &status);
        }
        std::size_t const most = status >= kFirstRefusal ? kMostRefusalBytes : kMostAnswerBytes;
        if (text.size() > most - body.size()) {
            return false;
        }
        body.append(text);
        if (takeLine && status < kFirstRefusal) {
            takeLines();
        }
        return true;
    }

    void takeLines()
    {
        std::size_t start = 0;
        for (auto end = body.find('\n'); end != std::string::npos; end = body.find('\n', start)) {
            takeLine(std::string_view(body).substr(start, end - start));
            start = end + 1;
        }
        body.erase(0, start);
    }

    static std::size_t write(char const * data, std::size_t size, std::size_t count, void * connection)
    {
        auto & self = *static_cast<Connection *>(connection);
        try {
            return self.take({data, size * count}) ? size * count : 0;
        } catch (...) {
            self.failure = std::current_exception(); // nothing may be thrown through a library of C
            return 0;
        }
    }
};

DoorClient::DoorClient(std::string socketPath)
    : m_socketPath(std::move(socketPath)), m_connection(std::make_unique<Connection>())
{
    m_connection->handle = curlHandle(m_socketPath);
    CURL * const handle = m_connection->handle.get();
    (void)curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, &Connection::write);
    (void)curl_easy_setopt(handle, CURLOPT_WRITEDATA, m_connection.get());
    (void)curl_easy_setopt(handle, CURLOPT_LOW_SPEED_LIMIT, 1L);
    (void)curl_easy_setopt(handle, CURLOPT_LOW_SPEED_TIME, kAnswerSeconds);
}

DoorClient::~DoorClient() = default;

void DoorClient::perform(char const * method, std::string const & target, std::string const & body)
{
    Connection & connection = *m_connection;
    CURL * const handle = connection.handle.get();
    connection.body.clear();
    connection.status = 0;
    connection.failure = nullptr;
    setTarget(handle, target);
    // The method stands alone in CUSTOMREQUEST, so that one handle serves all of them.
    (void)curl_easy_setopt(handle, CURLOPT_HTTPGET, 1L);
    if (!body.empty()) {
        (void)curl_easy_setopt(handle, CURLOPT_COPYPOSTFIELDS, body.c_str());
    }
    (void)curl_easy_setopt(handle, CURLOPT_CUSTOMREQUEST, method);
    CURLcode const result = curl_easy_perform(handle);
    if (connection.failure) {
        std::rethrow_exception(connection.failure);
    }
    if (result == CURLE_WRITE_ERROR) {
        throw Failure(Status::refused, "the answer of the host at " + m_socketPath + " is too long");
    }
    if (result != CURLE_OK) {
        throwTransferFailure(handle, result, m_socketPath);
    }
    (void)curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &connection.status);
    if (connection.status >= kFirstRefusal) {
        throw Refusal(connection.status, connection.body);
    }
}

Json DoorClient::call(char const * method, std::string const & target, std::string const & body)
{
    m_connection->takeLine = nullptr;
    (void)curl_easy_setopt(m_connection->handle.get(), CURLOPT_TIMEOUT, kAnswerSeconds);
    perform(method, target, body);
    Json answer = Json::parse(m_connection->body, nullptr, false);
    if (answer.is_discarded()) {
        throw Failure(Status::refused, "the host at " + m_socketPath + " answered with what is no JSON");
    }
    return answer;
}

void DoorClient::getLines(std::string const & target, std::function<void(std::string_view)> const & take)
{
    m_connection->takeLine = take;
    (void)curl_easy_setopt(m_connection->handle.get(), CURLOPT_TIMEOUT, 0L);
    perform("GET", target, {});
    if (!m_connection->body.empty()) {
        throw Failure(Status::refused, "the host at " + m_socketPath + " ended its answer in the midst of a line");
    }
}

std::string percentEncoded(std::string_view text)
{
    constexpr std::array<char, 17> kDigits{"0123456789ABCDEF"};
    std::string encoded;
    for (char const character : text) {
        if (isPlain(character)) {
            encoded += character;
        } else {
            auto const byte = static_cast<unsigned char>(character);
            encoded += {'%', kDigits[byte >> 4U], kDigits[byte & 0xFU]};
        }
    }
    return encoded;
}

std::string nodeTarget(std::string const & address)
{
    std::string target = "/nodes";
    for (std::size_t start = 0; start <= address.size();) {
        std::size_t const end = std::min(address.find('/', start), address.size());
        target += '/';
        target += percentEncoded(std::string_view(address).substr(start, end - start));
        start = end + 1;
    }
    return target;
}

} // namespace tracectl
