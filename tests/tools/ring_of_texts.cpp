// ring_of_texts PATH: a ring with each text of standard input, behind each of which a zero byte stands, as a record.

#include <common/log/host/record_ring.h>

#include <iostream>
#include <string>

int main(int, char ** arguments)
{
    common::log::host::RecordRing ring(arguments[1], {1 << 20});
    for (std::string text; std::getline(std::cin, text, '\0');) {
        ring.add({0, text, common::log::host::RecordEnd::flush});
    }
}
