#include "program.h"

#include "console/ending.h"
#include "console/texts.h"

#include <csignal>

int main(int argc, char** argv) {
    using namespace lokata::cli;
    speakTheUsersLanguage();
    endCleanlyOnSignals();
    ExitStatus const status = runProgram(argc, argv);
    if (status == ExitStatus::interrupted)
        endBy(SIGINT);
    return static_cast<int>(status);
}
