#include <common/log/host/node_service.h>

#include "node_registry.h"
#include "node_reply.h"

#include <algorithm>
#include <exception>
#include <utility>
#include <vector>

namespace common::log::host {

using namespace comm::nodebus;

namespace {

/// Keeps the registry, since it may outlive the service.
class Provider final : public IProvider
{
public:
    explicit Provider(std::shared_ptr<NodeRegistry> registry) : m_registry(std::move(registry)) {}
    Provider(Provider const &) = delete;
    Provider & operator=(Provider const &) = delete;
    ~Provider() override
    {
        if (isFailure(m_registry->removeAllOf(this))) {
            m_registry->dropAllOf(this); // destroyed within a handler: at least no further calls
        }
    }

    NbResult registerNode(std::string const & address, IProviderNode * node) override
    {
        return m_registry->add({address, node, this});
    }
    NbResult unregisterNode(std::string const & address) override { return m_registry->remove(this, address); }
    NbResult start() override { return m_registry->isStopped() ? NB_CLIENT_NOT_CONNECTED : NB_OK; }
    NbResult stop() override { return m_registry->removeAllOf(this); }

private:
    std::shared_ptr<NodeRegistry> const m_registry;
};

/// @return the fault of a handler that was left by an exception, otherwise empty
template <typename Handler>
std::string faultOf(Handler const & handler)
{
    try {
        handler();
    } catch (std::exception const & exception) {
        return std::string("let out the exception \"") + exception.what() + "\"";
    } catch (...) {
        return "let out an exception of an unknown type";
    }
    return {};
}

/// Adds the levels that a node does not know of to its children.
void addLevels(NodeAnswer & answer, std::vector<std::string> levels)
{
    bool const isKnown = !isFailure(answer.result);
    bool const isList = !answer.value || answer.value->type == VariantType::arrayOfString;
    if (levels.empty() || (!isKnown && answer.result != NB_INVALID_ADDRESS) || (isKnown && !isList)) {
        return;
    }
    std::vector<std::string> children;
    if (isKnown && answer.value) {
        children = answer.value->getStrings();
    }
    auto const own = static_cast<std::ptrdiff_t>(children.size());
    for (std::string & level : levels) {
        if (std::find(children.begin(), children.begin() + own, level) == children.begin() + own) {
            children.push_back(std::move(level));
        }
    }
    answer.result = NB_OK;
    (void)answer.value.emplace().setValue(children);
}

} // namespace

NodeService::NodeService(NodeFaultReport report)
    : m_registry(std::make_shared<NodeRegistry>()), m_report(std::move(report))
{}

NodeService::~NodeService() { (void)m_registry->stop(); }

std::unique_ptr<IProvider> NodeService::makeProvider() { return std::make_unique<Provider>(m_registry); }

NbResult NodeService::stop() { return m_registry->stop(); }

NodeAnswer NodeService::call(char const * operation, std::string const & address, Handler const & handler)
{
    NodeRegistry::Call const call(*m_registry, address);
    if (isFailure(call.result())) {
        return {call.result()};
    }
    auto const reply = std::make_shared<NodeReply>();
    std::string fault = faultOf([&] {
        handler(*call.registration().node,
                [reply](NbResult result, Variant const * value) { reply->take(result, value); });
    });
    unsigned const count = reply->close();
    if (fault.empty() && count != 1) {
        fault = count == 0 ? "did not answer before it returned" : "answered " + std::to_string(count) + " times";
    }
    if (fault.empty()) {
        return std::move(reply->answer());
    }
    // Still within the call, so that `stop` waits for the report as well.
    (void)faultOf([&] {
        if (m_report) {
            m_report("Node '" + call.registration().address + "' " + fault + ", at " + operation + " of '" + address +
                     "'.");
        }
    });
    return {NB_FAILED};
}

NodeAnswer NodeService::create(std::string const & address, Variant const * data)
{
    return call("create", address,
                [&](IProviderNode & node, NodeCallback const & callback) { node.onCreate(address, data, callback); });
}

NodeAnswer NodeService::remove(std::string const & address)
{
    return call("remove", address,
                [&](IProviderNode & node, NodeCallback const & callback) { node.onRemove(address, callback); });
}

NodeAnswer NodeService::browse(std::string const & address)
{
    std::vector<std::string> levels = m_registry->levelsBelow(address);
    NodeAnswer answer = call("browse", address, [&](IProviderNode & node, NodeCallback const & callback) {
        node.onBrowse(address, callback);
    });
    addLevels(answer, std::move(levels));
    return answer;
}

NodeAnswer NodeService::read(std::string const & address, Variant const * data)
{
    return call("read", address,
                [&](IProviderNode & node, NodeCallback const & callback) { node.onRead(address, data, callback); });
}

NodeAnswer NodeService::write(std::string const & address, Variant const * data)
{
    return call("write", address,
                [&](IProviderNode & node, NodeCallback const & callback) { node.onWrite(address, data, callback); });
}

NodeAnswer NodeService::metadata(std::string const & address)
{
    return call("metadata", address,
                [&](IProviderNode & node, NodeCallback const & callback) { node.onMetadata(address, callback); });
}

} // namespace common::log::host
