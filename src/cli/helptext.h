#pragma once
// The documentation that --help and "help CMD" print. Pure; any thread.

#include <QString>

namespace vf::cli {

// The overview (empty topic) or one command's page ("stream", "convert" ...).
QString helpText(const QString& topic = {});

// "vellumfox-cli VERSION (HASH)".
QString versionText();

}  // namespace vf::cli
