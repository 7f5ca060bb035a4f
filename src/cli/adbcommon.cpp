#include "cli/adbcommon.h"

#include "core/session/sessionpreferences.h"
#include "core/support/utils.h"

using namespace Qt::StringLiterals;

namespace vf::cli {

QString deviceLines(const DeviceList& devices) {
    QString text;
    for (const DeviceRecord& record : devices) {
        if (!text.isEmpty()) text += u'\n';
        text += u"  "_s + record.id;
        if (record.name) text += u"  "_s + *record.name;
    }
    return text;
}

void startAdbServer(const AdbEndpoint& endpoint, std::function<void(bool)> done) {
    Utils::startAdb(endpoint.adbProgram, endpoint.port, std::move(done));
}

AdbSetup adbSetupFor(const CliOptions& options) {
    AdbSetup setup{endpointFromPreferences(), logcatOptionsFromPreferences()};
    if (!options.host.isEmpty()) setup.endpoint.host = options.host;
    if (!options.port.isEmpty()) setup.endpoint.port = adbPortFromText(options.port);
    if (options.clear) setup.logcat.clearOnStart = true;
    if (options.tags) setup.logcat.logTags = *options.tags;
    if (options.buffers) setup.logcat.buffers = *options.buffers;
    return setup;
}

}  // namespace vf::cli
