// A stand-in for another program on the desktop: one window with the given title and class, and, with
// --record, a recording stream on the default microphone. Prints "window <id>" once the window is mapped and
// "recording" once the stream runs. Reads commands from stdin: "stop" ends the recording; end of input ends it all.
#include <atomic>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <pulse/simple.h>
#include <string>
#include <thread>
#include <unistd.h>
#include <xcb/xcb.h>
#include <xcb/xcb_icccm.h>

namespace {

xcb_atom_t atom(xcb_connection_t* c, const char* name) {
    xcb_intern_atom_reply_t* reply =
        xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, uint16_t(std::strlen(name)), name), nullptr);
    const xcb_atom_t a = reply ? reply->atom : XCB_NONE;
    std::free(reply);
    return a;
}

void record(std::atomic<bool>& running) {
    const pa_sample_spec spec{PA_SAMPLE_S16LE, 16000, 1};
    int error = 0;
    pa_simple* stream = pa_simple_new(nullptr, "call-helper", PA_STREAM_RECORD, nullptr, "call", &spec, nullptr,
                                      nullptr, &error);
    if (!stream) {
        std::cerr << "call-helper: cannot record: " << error << std::endl;
        return;
    }
    std::cout << "recording" << std::endl;
    char buffer[640];
    while (running && pa_simple_read(stream, buffer, sizeof buffer, &error) == 0) {
    }
    pa_simple_free(stream);
}

} // namespace

int main(int argc, char** argv) {
    std::string title, windowClass = "helper";
    bool recording = false;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--title" && i + 1 < argc)
            title = argv[++i];
        else if (arg == "--class" && i + 1 < argc)
            windowClass = argv[++i];
        else if (arg == "--record")
            recording = true;
    }
    xcb_connection_t* c = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(c)) {
        std::cerr << "call-helper: no X server" << std::endl;
        return 1;
    }
    xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(c)).data;
    const xcb_window_t window = xcb_generate_id(c);
    xcb_create_window(c, XCB_COPY_FROM_PARENT, window, screen->root, 0, 0, 320, 200, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual, 0, nullptr);
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, window, atom(c, "_NET_WM_NAME"), atom(c, "UTF8_STRING"), 8,
                        uint32_t(title.size()), title.data());
    const uint32_t pid = uint32_t(getpid());
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, window, atom(c, "_NET_WM_PID"), XCB_ATOM_CARDINAL, 32, 1, &pid);
    const std::string klass = windowClass + '\0' + windowClass + '\0';
    xcb_icccm_set_wm_class(c, window, uint32_t(klass.size()), klass.data());
    xcb_map_window(c, window);
    xcb_flush(c);
    std::cout << "window " << window << std::endl;

    std::atomic<bool> running = recording;
    std::thread recorder;
    if (recording)
        recorder = std::thread(record, std::ref(running));
    for (std::string line; std::getline(std::cin, line);) {
        if (line == "stop")
            running = false;
    }
    running = false;
    if (recorder.joinable())
        recorder.join();
    xcb_disconnect(c);
    return 0;
}
