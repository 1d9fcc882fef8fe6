// zelt-sim is three programs: outside the box it makes it, inside it plays the scenario, and under the name of one of
// the router's commands it stands in for that.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>
#include <vector>

#include "sim/handover.h"
#include "sim/inside/inside.h"
#include "sim/outside/outside.h"
#include "sim/scenario/scenario.h"
#include "sim/stand_ins/stand_in.h"
#include "store/value_text.h"

namespace {

// What waits in the buffer is written only now. Without a reader, as in "| head", nothing is missing.
int finish(int status) {
    const bool written = std::fflush(stdout) == 0 && std::ferror(stdout) == 0;
    return written || errno == EPIPE ? status : refuse(std::string("cannot write: ") + std::strerror(errno), 1);
}

}  // namespace

int main(int argc, char **argv) {
    try {
        if (argc > 0 && is_stand_in(argv[0])) {
            return play_stand_in(argc, argv);
        }
        const std::vector<std::string> words(argv + (argc > 0 ? 1 : 0), argv + argc);
        return !words.empty() && words[0] == INSIDE ? inside({words.begin() + 1, words.end()}) : finish(outside(words));
    } catch (const scenario_error &e) {
        std::fprintf(stderr, "%s\n", shown(e.what()).c_str());
        return EXIT_SCENARIO;
    } catch (const request_error &e) {
        return refuse(e.text);
    } catch (const std::exception &e) {
        return refuse(e.what());
    }
}
