#include "console/texts.h"

#include <optstore2/message_catalog.h>

#include <array>
#include <clocale>
#include <cstdlib>

namespace lokata::cli {

namespace {

constexpr std::array c_keys{
#define LOKATA_KEY(name, key, arguments) key,
    LOKATA_PROGRAM_TEXTS(LOKATA_KEY)
#undef LOKATA_KEY
};

} // namespace

void speakTheUsersLanguage() {
    if (std::setlocale(LC_CTYPE, "C.UTF-8") == nullptr)
        std::setlocale(LC_CTYPE, "");
    std::setlocale(LC_MESSAGES, "");
    // It would give the texts of the system another language than LC_MESSAGES gives ours.
    ::unsetenv("LANGUAGE");
}

std::string textOf(Text text, std::initializer_list<std::string_view> arguments) {
    return optstore2::messageText(c_programCatalog, c_keys.at(static_cast<std::size_t>(text)),
                                  arguments);
}

} // namespace lokata::cli
