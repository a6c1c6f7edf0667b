#pragma once

#include <QDialog>
#include <QImage>

class QLineEdit;

// The modal question for a pin's note: what the team should notice, with the captured picture beside it.
class NoteDialog : public QDialog {
    Q_OBJECT
public:
    NoteDialog(const QImage& image, bool recording, QWidget* parent = nullptr);

    QString note() const;

private:
    QLineEdit* m_field;
};
