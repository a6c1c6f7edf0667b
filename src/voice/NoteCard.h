#pragma once

#include <QByteArray>
#include <QImage>
#include <QString>
#include <optional>

// A text-only pin drawn as a picture, so that every pin has an image and whatever reads images reads its
// text.
namespace NoteCard {
constexpr int width = 1200, height = 630;

QImage image(const QString& text);
// The card as JPEG at quality 0.8; nothing when encoding fails (the caller drops the pin).
std::optional<QByteArray> jpeg(const QString& text);
} // namespace NoteCard
