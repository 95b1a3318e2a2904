#include "program.h"

#include "console/ending.h"
#include "console/failure.h"

#include <csignal>

int main(int argc, char** argv) {
    lokata::cli::endCleanlyOnSignals();
    int const status = lokata::cli::runProgram(argc, argv);
    if (status == lokata::cli::esInterrupted)
        lokata::cli::endBy(SIGINT);
    return status;
}
