#include "fuzz.h"

#include <TesCore/TESProcess.h>

namespace {

QString upToZero(const QByteArray &bytes)
{
    const auto zero = bytes.indexOf('\0');
    return QString::fromLatin1(zero < 0 ? bytes : bytes.left(zero));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, std::size_t size)
{
    Fields fields(data, size);
    TESProcess::Result result;
    result.commandLine = fields.text();
    result.exitCode = fields.number();
    result.stdOut = fields.bytes();
    result.stdErr = fields.bytes();
    result.exitStatus = QProcess::NormalExit;
    result.processError = QProcess::UnknownError;
    result.workingDir = fields.text();
    QString environment;
    while (!fields.isEmpty()) {
        result.environment.append(fields.text());
        environment +=
            (result.environment.size() > 1 ? QStringLiteral(";") : QString()) + result.environment.last();
    }
    QString expected = QStringLiteral("TESProcess Result\nCommand Line: ") + result.commandLine;
    expected += QStringLiteral("\nExit Code: ") + QString::number(result.exitCode);
    expected += QStringLiteral("\nstdout: ") + upToZero(result.stdOut);
    expected += QStringLiteral("\nstderr: ") + upToZero(result.stdErr);
    expected += QStringLiteral("\nExit Status: Normal Exit\nProcess Err: UnknownError\nWorking Dir: ");
    expected += result.workingDir + QStringLiteral("\nEnvironment: ") + environment;
    require(result.dump() == expected);
    return 0;
}
