// Two files that include the header, so that the linker sees its functions twice.
#include <iostream>

#include "reader.h"

int main(int argc, char** argv) try {
    kova::Analysis analysis(argc > 1 ? argv[1] : "no/such/directory");
    std::cout << (peaksOf(analysis, 60) > 0 ? "peaks" : "no peaks") << '\n';
    try {
        analysis.readMsMsOfFrame(1, [](auto, auto, auto) { throw 42; });
    } catch (int value) {
        std::cout << value << '\n';
    }
    return 0;
} catch (const kova::Error& error) {
    std::cout << error.what() << '\n';
    return 0;
}
