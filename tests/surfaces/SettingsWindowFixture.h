#pragma once

#include "core/Keychain.h"
#include "fakes/FakeBrowser.h"
#include "fakes/MemorySecretStore.h"
#include "server/Settings.h"
#include "server/SignIn.h"
#include "surfaces/SettingsView.h"
#include "surfaces/design/OVToggle.h"

#include <QAbstractButton>
#include <QFile>
#include <QLabel>
#include <QNetworkAccessManager>
#include <QSettings>
#include <QTemporaryDir>

// The settings view on a settings file of the test's own (written first, as a user might have edited it),
// secrets in memory, a browser that records, and counters for the view's callbacks.
struct SettingsWindowFixture {
    QTemporaryDir dir;
    MemorySecretStore secrets;
    Keychain keychain{secrets, QStringLiteral("svc")};
    std::unique_ptr<QSettings> store;
    std::unique_ptr<QNetworkAccessManager> network = API::makeNetwork();
    std::unique_ptr<Settings> settings;
    FakeBrowser browser;
    SignIn signIn{[this](const QUrl& url) { return browser.open(url); }};
    int changes = 0;
    int signOuts = 0;
    int refreshes = 0;
    std::unique_ptr<SettingsView> view;

    explicit SettingsWindowFixture(const QByteArray& file = {}) {
        if (!file.isEmpty()) {
            QFile ini(path());
            if (ini.open(QIODevice::WriteOnly)) ini.write(file);
        }
        store = std::make_unique<QSettings>(path(), QSettings::IniFormat);
        settings = std::make_unique<Settings>(*store, keychain, *network);
    }
    QString path() const { return dir.filePath(QStringLiteral("orvane.conf")); }
    QByteArray fileText() const {
        QFile ini(path());
        return ini.open(QIODevice::ReadOnly) ? ini.readAll() : QByteArray();
    }
    // What a fresh start would read from the file.
    QVariant stored(const QString& key) const { return QSettings(path(), QSettings::IniFormat).value(key); }

    SettingsView& open(SettingsView::ThisComputer computer = {}) {
        view = std::make_unique<SettingsView>(
            SettingsView::Needs{*settings, signIn, browser, [this] { ++changes; }, [this] { ++signOuts; },
                                [this] { ++refreshes; }},
            std::move(computer));
        return *view;
    }

    template <class T = QAbstractButton> T* button(const QString& text) const {
        for (T* b : view->findChildren<T*>())
            if (b->text() == text && !b->isHidden()) return b;
        return nullptr;
    }
    OVToggle* toggle(const QString& text) const { return button<OVToggle>(text); }
    // The texts the view shows now, in their order.
    QStringList texts(const QWidget* in) const {
        QStringList out;
        for (const QLabel* label : in->findChildren<QLabel*>())
            if (label->isVisibleTo(view.get()) && !label->text().isEmpty()) out.append(label->text());
        return out;
    }
};
