/* Preloaded into xdg-desktop-portal-wlr 0.7 in the test desktop. That version refuses to share a screen
 * unless the compositor's screencopy also announces a GPU buffer format, which a headless sway without a GPU
 * never does, although the shared memory it offers would serve. Each screencopy frame is made to announce
 * its shared-memory format as the GPU one as well; the consumer asks for shared memory, so that is what the
 * portal then streams. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <stdint.h>
#include <string.h>
#include <wayland-client-core.h>

/* zwlr_screencopy_frame_v1's events, in the protocol's order. */
struct frame_listener {
    void (*buffer)(void *data, struct wl_proxy *frame, uint32_t format, uint32_t width, uint32_t height,
                   uint32_t stride);
    void (*flags)(void *data, struct wl_proxy *frame, uint32_t flags);
    void (*ready)(void *data, struct wl_proxy *frame, uint32_t sec_hi, uint32_t sec_lo, uint32_t nsec);
    void (*failed)(void *data, struct wl_proxy *frame);
    void (*damage)(void *data, struct wl_proxy *frame, uint32_t x, uint32_t y, uint32_t width, uint32_t height);
    void (*linux_dmabuf)(void *data, struct wl_proxy *frame, uint32_t format, uint32_t width, uint32_t height);
    void (*buffer_done)(void *data, struct wl_proxy *frame);
};

static const struct frame_listener *original;
static uint32_t shm_fourcc, shm_width, shm_height;

static void buffer(void *data, struct wl_proxy *frame, uint32_t format, uint32_t width, uint32_t height,
                   uint32_t stride) {
    /* wl_shm names its two oldest formats 0 and 1; every other one is its DRM fourcc. */
    shm_fourcc = format == 0 ? 0x34325241 /* AR24 */ : format == 1 ? 0x34325258 /* XR24 */ : format;
    shm_width = width;
    shm_height = height;
    original->buffer(data, frame, format, width, height, stride);
}

static void buffer_done(void *data, struct wl_proxy *frame) {
    original->linux_dmabuf(data, frame, shm_fourcc, shm_width, shm_height);
    original->buffer_done(data, frame);
}

static struct frame_listener wrapped;

int wl_proxy_add_listener(struct wl_proxy *proxy, void (**implementation)(void), void *data) {
    static int (*next)(struct wl_proxy *, void (**)(void), void *);
    if (!next) next = (int (*)(struct wl_proxy *, void (**)(void), void *))dlsym(RTLD_NEXT, "wl_proxy_add_listener");
    if (strcmp(wl_proxy_get_class(proxy), "zwlr_screencopy_frame_v1") == 0 && wl_proxy_get_version(proxy) >= 3) {
        original = (const struct frame_listener *)implementation;
        wrapped = *original;
        wrapped.buffer = buffer;
        wrapped.buffer_done = buffer_done;
        implementation = (void (**)(void))&wrapped;
    }
    return next(proxy, implementation, data);
}
