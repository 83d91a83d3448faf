// Runs one case of the benchmarks: orb_bench NAME. Without a name it says which there are.
#include "bench/Case.h"

#include <exception>
#include <iostream>

int main(int argc, char** argv)
{
    if (argc != 2) {
        for (const Case* one : Case::All())
            std::cout << one->Name() << '\n';
        return 0;
    }
    const Case* const wanted = Case::Find(argv[1]);
    if (!wanted) {
        std::cerr << "no case is called " << argv[1] << '\n';
        return 2;
    }
    try {
        wanted->Run();
    } catch (const std::exception& failure) {
        std::cerr << argv[1] << ": " << failure.what() << '\n';
        return 1;
    }
    return 0;
}
