#include "node_reply.h"

#include <new>

namespace common::log::host {

using namespace comm::nodebus;

namespace {

Variant copyOf(Variant const & value)
{
    Variant copied;
    if (value.type == VariantType::arrayOfString) {
        (void)copied.setValue(value.getStrings());
    } else if (isBuffer(value.type)) {
        (void)copied.setRaw(value.dataPointer(), value.size);
    } else {
        copied.data = value.data;
    }
    copied.type = value.type;
    return copied;
}

} // namespace

void NodeReply::take(NbResult result, Variant const * value)
{
    std::lock_guard<std::mutex> const lock(m_mutex);
    if (m_isClosed || ++m_count > 1) {
        return;
    }
    m_answer.result = result;
    try {
        if (value != nullptr) {
            m_answer.value = copyOf(*value);
        }
    } catch (std::bad_alloc const &) {
        m_answer.result = NB_OUT_OF_MEMORY; // not the node's fault, so that it does not travel through the node
    }
}

unsigned NodeReply::close()
{
    std::lock_guard<std::mutex> const lock(m_mutex);
    m_isClosed = true;
    return m_count;
}

} // namespace common::log::host
