#include <common/log/host/switch_board.h>

#include "switch_author_text.h"
#include "utc_text.h"

namespace common::log::host {

std::string textOf(SwitchAuthor const & author)
{
    std::string const number = "user " + std::to_string(author.userId);
    return (author.userName.empty() ? number : author.userName + " (" + number + ")") + " from " + author.from;
}

std::string textOf(SwitchEvent const & event)
{
    std::string const author = textOf(event.author);
    std::string const until = event.until ? " until " + utcText(*event.until) : "";
    std::string const ended = "the switch by " + author + " ended";
    switch (event.kind) {
    case SwitchEvent::Kind::set:
        if (event.before.empty()) {
            return event.address + " written by " + author;
        }
        return event.address + " switched from " + event.before + " to " + event.now +
               (until.empty() ? " for ever" : until) + " by " + author;
    case SwitchEvent::Kind::putBack:
        return event.address + " put back from " + event.before + " to " + event.now + until + ", since " + ended;
    case SwitchEvent::Kind::leftAlone:
        return event.address + " left as " + event.now + ", since somebody else had changed it from " + event.before +
               " when " + ended;
    case SwitchEvent::Kind::gone:
        return event.address + " is gone, and was not put back from " + event.before + " to " + event.now + " when " +
               ended;
    case SwitchEvent::Kind::failed:
        return event.address + " cannot be put back from " + event.before + " to " + event.now + ", though " + ended;
    case SwitchEvent::Kind::saved:
        return "States saved by " + author;
    case SwitchEvent::Kind::loaded:
        return "States loaded by " + author;
    }
    return event.address;
}

} // namespace common::log::host
