#pragma once

#include <optional>
#include <string>
#include <string_view>

// How the end-of-day jobs go, as a test scripts them. Polls are counted from the job's start; a new start
// counts anew.
struct WrapScript {
    enum class Outcome {
        Done,      // done from poll `after` on
        Error,     // failed from poll `after` on
        Unstarted, // the start is answered, but the job never registers
        Endless,   // running at every poll
    };

    static std::optional<Outcome> parse(std::string_view name);

    Outcome outcome = Outcome::Done;
    int after = 2;
    bool highlights = true;           // a done job's reply has them
    std::optional<std::string> error; // a failed job's text; none leaves it out of the reply
};
