// Times one system profile against stand-in programs that each take 100 ms, and compares it with
// the slowest single probe. Run side by side in one process, so the ratio holds whatever the
// machine: about 1 when the probes run concurrently, about 10 when they run one after another.
#include "diagnosis/SystemProfiler.h"
#include "diagnosis/Verifier.h"
#include "simulated/InMemoryFileSystem.h"
#include "MappedProcessRunner.h"
#include "services/LiveProcessRunner.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

struct StandIn {
    QString macPath;
    QStringList arguments; // how the profile calls it
    QByteArray body;
};

const StandIn kStandIns[] = {
    {"/usr/bin/uname", {"-m"}, "echo arm64"},
    {"/usr/bin/xcode-select", {"-p"}, "echo /Library/Developer/CommandLineTools"},
    {"/usr/bin/which", {"java"}, "[ \"$1\" = java ] && echo /usr/bin/java || exit 1"},
    {"/usr/libexec/java_home", {"-V"},
     "echo '    21.0.2 (arm64) \"Eclipse Adoptium\" - \"OpenJDK 21.0.2\" /Library/Java/JavaVirtualMachines/temurin-21.jdk/Contents/Home' >&2"},
    {"/bin/zsh", {"-lc", "print -r -- \"__TWK_JAVA_HOME__:$JAVA_HOME\""},
     "case \"$2\" in *java*-version*) echo 'openjdk version \"21.0.2\"';; *) echo \"${2%%:*}:/Library/Java/JavaVirtualMachines/temurin-21.jdk/Contents/Home\";; esac"},
};

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

template <typename Work>
double millisecondsOf(Work work)
{
    QElapsedTimer timer;
    timer.start();
    work();
    return static_cast<double>(timer.nsecsElapsed()) / 1e6;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QTemporaryDir scripts;
    auto runner = std::make_shared<MappedProcessRunner>(std::make_shared<LiveProcessRunner>());
    int count = 0;
    for (const StandIn &standIn : kStandIns) {
        const QString path = scripts.filePath(QString::number(++count));
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly))
            return 1;
        file.write("#!/bin/sh\nsleep 0.1\n" + standIn.body + "\n");
        file.close();
        file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        runner->map(standIn.macPath, path);
    }
    auto fs = std::make_shared<InMemoryFileSystem>();
    fs->addDirectory(QStringLiteral("/Library/Java/JavaVirtualMachines/temurin-21.jdk"));
    const ProgramRunner shell(runner);
    const SystemProfiler profiler(shell, fs);
    const Verifier verifier(shell);

    constexpr int kRounds = 7;
    std::vector<double> slowestSingle, sumOfSingles, profiles, singleShell, verifies;
    for (int round = 0; round < kRounds; ++round) {
        double slowest = 0;
        double sum = 0;
        for (const StandIn &standIn : kStandIns) {
            const double ms = millisecondsOf([&] { (void)shell.run(standIn.macPath, standIn.arguments); });
            slowest = std::max(slowest, ms);
            // The profile runs `which` four times (mise, claude, codex, aider) besides `which java`.
            sum += standIn.macPath.endsWith(QLatin1String("which")) ? 5 * ms : ms;
            if (standIn.macPath == QLatin1String("/bin/zsh"))
                singleShell.push_back(ms);
        }
        slowestSingle.push_back(slowest);
        sumOfSingles.push_back(sum);
        profiles.push_back(millisecondsOf([&] { (void)profiler.profile(); }));
        verifies.push_back(millisecondsOf([&] { (void)verifier.verify(); }));
    }

    const double profile = median(profiles);
    const double slowest = median(slowestSingle);
    std::printf("probes, one after another (sum of singles): %7.1f ms\n", median(sumOfSingles));
    std::printf("slowest single probe:                       %7.1f ms\n", slowest);
    std::printf("whole profile:                              %7.1f ms\n", profile);
    std::printf("profile / slowest probe:                    %7.2f  (target: at most 1.3)\n", profile / slowest);
    std::printf("verify (two shells) / one shell:            %7.2f  (side by side: about 1)\n",
                median(verifies) / median(singleShell));
    return 0;
}
