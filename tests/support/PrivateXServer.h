#pragma once

#include <QByteArray>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <cstdlib>
#include <xcb/randr.h>
#include <xcb/xcb.h>

// An Xvfb of the test's own, of the size it asks for and with the options it gives (`-extension XFIXES` for a
// server without XFixes), so that it can be resized and killed without disturbing the other tests.
class PrivateXServer {
public:
    bool start(const QString& screen = QStringLiteral("800x600x24"), const QStringList& options = {}) {
        m_server.start(QStringLiteral("Xvfb"),
                       QStringList{QStringLiteral("-displayfd"), QStringLiteral("1"),
                                   QStringLiteral("-screen"), QStringLiteral("0"), screen,
                                   QStringLiteral("-nolisten"), QStringLiteral("tcp")} +
                           options);
        if (!m_server.waitForStarted()) return false;
        while (!m_server.canReadLine())
            if (!m_server.waitForReadyRead(10000)) return false;
        m_display = QStringLiteral(":") + QString::fromLatin1(m_server.readLine().trimmed());
        return true;
    }
    ~PrivateXServer() { kill(); }
    const QString& display() const { return m_display; }
    void kill() {
        m_server.kill();
        m_server.waitForFinished();
    }

    // Shrinks the screen as xrandr does: a new mode on the one output, then the screen's new size.
    bool shrinkTo(uint16_t width, uint16_t height) {
        xcb_connection_t* c = xcb_connect(m_display.toLatin1().constData(), nullptr);
        const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(c)).data->root;
        std::free(xcb_randr_query_version_reply(c, xcb_randr_query_version(c, 1, 5), nullptr));
        auto* resources =
            xcb_randr_get_screen_resources_reply(c, xcb_randr_get_screen_resources(c, root), nullptr);
        xcb_randr_crtc_t crtc = xcb_randr_get_screen_resources_crtcs(resources)[0];
        xcb_randr_output_t output = xcb_randr_get_screen_resources_outputs(resources)[0];
        xcb_randr_mode_info_t info{};
        info.width = width;
        info.height = height;
        info.htotal = width;
        info.vtotal = height;
        info.dot_clock = uint32_t(width) * height * 60;
        const QByteArray name = QByteArray::number(width) + 'x' + QByteArray::number(height);
        info.name_len = uint16_t(name.size());
        auto* mode = xcb_randr_create_mode_reply(
            c, xcb_randr_create_mode(c, root, info, name.size(), name.constData()), nullptr);
        bool done = false;
        if (mode) {
            xcb_randr_add_output_mode(c, output, mode->mode);
            auto* set = xcb_randr_set_crtc_config_reply(
                c,
                xcb_randr_set_crtc_config(c, crtc, XCB_CURRENT_TIME, resources->config_timestamp, 0, 0,
                                          mode->mode, XCB_RANDR_ROTATION_ROTATE_0, 1, &output),
                nullptr);
            xcb_generic_error_t* error = xcb_request_check(
                c, xcb_randr_set_screen_size_checked(c, root, width, height, width / 4, height / 4));
            done = set && set->status == XCB_RANDR_SET_CONFIG_SUCCESS && !error;
            std::free(set);
            std::free(error);
        }
        std::free(mode);
        std::free(resources);
        xcb_disconnect(c);
        return done;
    }

private:
    QProcess m_server;
    QString m_display;
};
