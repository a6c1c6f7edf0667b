#include "workday/WrapModel.h"

WrapModel::WrapModel(std::optional<QUrl> board, QObject* parent)
    : QObject(parent), m_board(std::move(board)) {}

void WrapModel::setPhase(const QString& phase) {
    m_phase = phase;
    emit changed();
}

void WrapModel::setResult(const WrapStatus& done) {
    m_summary = done.summary;
    m_highlights = done.highlights;
    m_tomorrow = done.tomorrow;
    m_cards = done.cards;
    emit changed();
}

void WrapModel::setError(const QString& error) {
    m_error = error;
    emit changed();
}

void WrapModel::stop() {
    m_running = false;
    emit changed();
}
