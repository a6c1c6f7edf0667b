#pragma once

#include "surfaces/Prompter.h"

#include <QWidget>
#include <functional>

// The face of one alert: the Orvane mark, its title, its text and its buttons in the order given, the first
// the default (accent filled). `choose` gets the text of the button pressed.
class QAbstractButton;

class PrompterView : public QWidget {
public:
    PrompterView(const Alert& alert, const std::function<void(const QString& button)>& choose,
                 QWidget* parent = nullptr);

    // The button that Return presses.
    QAbstractButton* defaultButton() const { return m_default; }

private:
    QAbstractButton* m_default = nullptr;
};
