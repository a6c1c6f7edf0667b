#include "WrapScript.h"

std::optional<WrapScript::Outcome> WrapScript::parse(std::string_view name) {
    if (name == "done") return Outcome::Done;
    if (name == "error") return Outcome::Error;
    if (name == "unstarted") return Outcome::Unstarted;
    if (name == "endless") return Outcome::Endless;
    return std::nullopt;
}
