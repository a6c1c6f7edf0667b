#include "os/linux/DesktopAnimations.h"

#undef signals // glib headers use the word
#include <gio/gio.h>

namespace os {

bool desktopAnimationsEnabled() {
    // Looked up first: GSettings aborts the process when asked for a schema that is not installed.
    GSettingsSchemaSource* source = g_settings_schema_source_get_default();
    if (!source) return true;
    GSettingsSchema* schema = g_settings_schema_source_lookup(source, "org.gnome.desktop.interface", TRUE);
    if (!schema) return true;
    bool enabled = true;
    if (g_settings_schema_has_key(schema, "enable-animations")) {
        GSettings* settings = g_settings_new_full(schema, nullptr, nullptr);
        enabled = g_settings_get_boolean(settings, "enable-animations");
        g_object_unref(settings);
    }
    g_settings_schema_unref(schema);
    return enabled;
}

} // namespace os
