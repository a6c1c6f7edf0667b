#pragma once

// The colour a tag or status line speaks in, in this order.
enum class Tone { plain, accent, red, amber, silver };
