#pragma once

#include "surfaces/menu/Tone.h"

#include <QWidget>

class ClampedText;

// The panel's head: the wordmark, the account's two lines and the status line in its tone.
class PanelHeader : public QWidget {
public:
    explicit PanelHeader(QWidget* parent = nullptr);
    void setLines(const QString& name, const QString& sub, const QString& status, Tone tone);

private:
    ClampedText* m_name;
    ClampedText* m_sub;
    ClampedText* m_status;
};
