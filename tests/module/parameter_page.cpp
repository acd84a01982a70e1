// Writes the page about the module's keys to the file that it is given.
#include <fstream>
#include <iostream>

#include "tests/support/parameter_text.h"

int main(int count, char** arguments) {
    if (count != 2) {
        std::cerr << "usage: parameter_page FILE\n";
        return 2;
    }
    std::ofstream file(arguments[1], std::ios::binary);
    file << tests::ParameterPage();
    return file.flush() ? 0 : 1;
}
