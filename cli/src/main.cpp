#include "program.h"

int main(int argc, char** argv) {
    return lokata::cli::runProgram(argc, argv);
}
