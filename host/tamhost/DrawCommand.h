// `tamhost draw`: renders one graphic module with given pin values (and an
// optional pointer script) to a PNG.
#pragma once

namespace tamhost {

// argv[0] is "draw". Returns 0 done, 1 failed, 2 usage error.
int runDrawCommand(int argc, char** argv);

}  // namespace tamhost
