#include "Generation.h"

#include "Reply.h"

std::optional<Generation::Kind> Generation::parse(std::string_view name) {
    if (name == "current") return Kind::Current;
    if (name == "old") return Kind::Old;
    return std::nullopt;
}

void Generation::requireWorkday() const {
    if (old()) throw HttpError(404, "not found");
}
