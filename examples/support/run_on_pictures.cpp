#include "support/run_on_pictures.h"

#include <cstdio>
#include <exception>

int runOnPictures(int argc,
                  char** argv,
                  void (*example)(const Path& folder, const std::vector<Path>& pictures)) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: %s OUTPUT_FOLDER PICTURE...\n", argv[0]);
        return 2;
    }
    try {
        const Path folder = argv[1];
        std::filesystem::create_directories(folder);
        example(folder, std::vector<Path>(argv + 2, argv + argc));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
    return 0;
}
