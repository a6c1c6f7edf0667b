#include "voice/NoteCard.h"

#include "recording/Frames.h"
#include "surfaces/Brand.h"
#include "surfaces/design/OVFont.h"

#include <QPainter>

namespace NoteCard {
namespace {
const QRect textArea(80, 180, 1040, 390);
constexpr int largestText = 56, smallestText = 18;

QFont sans(int pixels, QFont::Weight weight) {
    QFont font = OVFont::sans(12, weight);
    font.setPixelSize(pixels);
    return font;
}

// The largest type, down to a floor, at which the whole note fits its area.
QFont fitting(const QString& text) {
    const int flags = Qt::AlignLeft | Qt::AlignTop | Qt::TextWordWrap;
    for (int pixels = largestText; pixels > smallestText; pixels -= 2) {
        const QFont font = sans(pixels, QFont::Medium);
        if (QFontMetrics(font).boundingRect(textArea, flags, text).height() <= textArea.height()) return font;
    }
    return sans(smallestText, QFont::Medium);
}
} // namespace

QImage image(const QString& text) {
    QImage card(width, height, QImage::Format_RGB32);
    card.fill(Brand::bg());
    QPainter p(&card);
    p.setRenderHint(QPainter::Antialiasing);
    p.setRenderHint(QPainter::TextAntialiasing);
    p.setPen(QPen(Brand::lime(), 10, Qt::SolidLine, Qt::RoundCap));
    p.drawLine(QPoint(80, 150), QPoint(110, 70)); // the brand mark, a rising stroke
    p.setPen(Qt::white);
    p.setFont(sans(40, QFont::DemiBold));
    p.drawText(QPoint(140, 135), QStringLiteral("Note"));
    p.setFont(fitting(text));
    p.drawText(textArea, Qt::AlignLeft | Qt::AlignTop | Qt::TextWordWrap, text);
    return card;
}

std::optional<QByteArray> jpeg(const QString& text) {
    return Frames::jpeg(image(text), 0.8);
}
} // namespace NoteCard
