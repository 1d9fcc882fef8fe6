// Standard output of a tool whose user must learn when it cannot be written. May block as long as the reader does.
#pragma once

#include <string_view>

// 0, or the errno of the write that failed. SIGPIPE must be ignored, or a closed pipe ends the process unheard.
int print(std::string_view text);
