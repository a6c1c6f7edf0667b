#pragma once

#include <QString>

// The text FFmpeg gives for one of its negative error codes.
QString ffmpegErrorText(int code);
