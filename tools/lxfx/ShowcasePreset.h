// The demo's preset: every effect on with musical settings, but FIR and
// headphone, which need impulse files. Effects that the library does not have
// yet take their settings and leave the sound alone.
#pragma once

namespace lxfx {

const char* ShowcasePresetJson();

}  // namespace lxfx
