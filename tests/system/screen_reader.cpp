// SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
// SPDX-License-Identifier: MIT
#include "tests/system/screen_reader.h"

#include <cstdlib>
#include <cstring>
#include <memory>

namespace support {

namespace {

struct Free
{
    void operator()(void* memory) const noexcept { std::free(memory); }
};

template <typename Reply> using Owned = std::unique_ptr<Reply, Free>;

constexpr int kSmallestMenu = 100;
constexpr int kFewPixels = 20;

} // namespace

QImage ScreenReader::picture() const
{
    xcb_connection_t* const x = m_client.get();
    const xcb_screen_t* const screen = xcb_setup_roots_iterator(xcb_get_setup(x)).data;
    const Owned<xcb_get_image_reply_t> reply(
        xcb_get_image_reply(x,
                            xcb_get_image(x,
                                          XCB_IMAGE_FORMAT_Z_PIXMAP,
                                          screen->root,
                                          0,
                                          0,
                                          screen->width_in_pixels,
                                          screen->height_in_pixels,
                                          ~0U),
                            nullptr));
    QImage image(screen->width_in_pixels, screen->height_in_pixels, QImage::Format_RGB32);
    if (!reply || xcb_get_image_data_length(reply.get()) != image.sizeInBytes())
        return {};
    std::memcpy(image.bits(),
                xcb_get_image_data(reply.get()),
                static_cast<std::size_t>(image.sizeInBytes()));
    return image;
}

std::optional<QPoint> ScreenReader::find(QRgb color, int height) const
{
    const QImage image = picture();
    QRect found;
    int count = 0;
    for (int y = image.height() - height; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if ((image.pixel(x, y) & RGB_MASK) == (color & RGB_MASK)) {
                found |= QRect(x, y, 1, 1);
                ++count;
            }
        }
    }
    return count >= kFewPixels ? std::optional(found.center()) : std::nullopt;
}

std::optional<QRect> ScreenReader::menu() const
{
    xcb_connection_t* const x = m_client.get();
    const Owned<xcb_query_tree_reply_t> tree(
        xcb_query_tree_reply(x, xcb_query_tree(x, m_client.root()), nullptr));
    if (!tree)
        return {};
    const xcb_window_t* const windows = xcb_query_tree_children(tree.get());
    for (int i = xcb_query_tree_children_length(tree.get()) - 1; i >= 0; --i) { // topmost first
        const Owned<xcb_get_window_attributes_reply_t> attributes(
            xcb_get_window_attributes_reply(x, xcb_get_window_attributes(x, windows[i]), nullptr));
        const Owned<xcb_get_geometry_reply_t> place(
            xcb_get_geometry_reply(x, xcb_get_geometry(x, windows[i]), nullptr));
        if (attributes && place && attributes->map_state == XCB_MAP_STATE_VIEWABLE &&
            attributes->override_redirect != 0 &&
            attributes->_class != XCB_WINDOW_CLASS_INPUT_ONLY && place->width >= kSmallestMenu &&
            place->height >= kSmallestMenu)
            return QRect(place->x, place->y, place->width, place->height);
    }
    return {};
}

} // namespace support
