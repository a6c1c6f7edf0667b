#pragma once

#include <string>

// The platform's web pages as the board window shows them: plain HTML with its style and script inline, the
// same bytes for the same arguments. `light` gives a board page the light ground instead of the dark one.
namespace WebPages {

std::string home(bool light);
// The board of a project; its script shows the hash route and card, and puts both in the title.
std::string project(const std::string& slug, bool light);
std::string recording(const std::string& id, bool light);
// The sign-in form, which posts `next` back; `notice` is a line above it, none when empty.
std::string signIn(const std::string& next, const std::string& notice);

} // namespace WebPages
