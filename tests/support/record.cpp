#include "support/record.h"

#include <stdexcept>

namespace common::log::test {

std::vector<std::string> splitLines(std::string const & stream)
{
    std::vector<std::string> lines;
    if (stream.empty()) {
        return lines;
    }
    if (stream.front() != '\n') {
        throw std::invalid_argument("no line end ahead of the first record: " + stream);
    }
    std::string::size_type start = 1;
    for (auto end = stream.find('\n', start); end != std::string::npos; end = stream.find('\n', start)) {
        lines.push_back(stream.substr(start, end - start));
        start = end + 1;
    }
    lines.push_back(stream.substr(start));
    return lines;
}

Record parseRecord(std::string const & line)
{
    Record record;
    std::string * const fields[] = {&record.timestamp, &record.reserved1, &record.code,          &record.title,
                                    &record.reserved2, &record.reserved3, &record.componentName, &record.snapName,
                                    &record.unitName,  &record.fileName,  &record.functionName,  &record.line};
    std::string::size_type start = 0;
    for (std::string * const field : fields) {
        auto const end = line.find('|', start);
        if (end == std::string::npos) {
            throw std::invalid_argument("not a record: " + line);
        }
        *field = line.substr(start, end - start);
        start = end + 1;
    }
    record.message = line.substr(start);
    return record;
}

std::vector<Record> parseRecords(std::string const & stream)
{
    std::vector<Record> records;
    for (std::string const & line : splitLines(stream)) {
        records.push_back(parseRecord(line));
    }
    return records;
}

} // namespace common::log::test
