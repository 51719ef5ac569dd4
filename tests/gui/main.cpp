#include "support/TestEnvironment.h"

int main(int argc, char** argv) {
    return runTests(argc, argv, true);
}
