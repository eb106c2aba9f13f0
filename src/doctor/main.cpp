#include "BuildConfig.h"
#include "doctor/Doctor.h"
#include "simulated/ServiceSelection.h"
#include "simulated/SimulatedMac.h"

#include <QCommandLineParser>
#include <QCoreApplication>

#include <unistd.h>

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("tarnwick-doctor"));
    QCoreApplication::setApplicationVersion(QString::fromLatin1(tarnwick::kShortVersion));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Diagnoses this Mac's Java setup and, with --fix, repairs it."));
    const QCommandLineOption json(QStringLiteral("json"), QStringLiteral("Print one JSON object on stdout (progress goes to stderr)."));
    const QCommandLineOption fix(QStringLiteral("fix"), QStringLiteral("Run the recommended fix and check it in a fresh login shell."));
    const QCommandLineOption yes(QStringLiteral("yes"), QStringLiteral("Answer yes to every question."));
    const QCommandLineOption listFixtures(QStringLiteral("list-fixtures"), QStringLiteral("List the simulated Macs of TARNWICK_FIXTURE."));
    parser.addOptions({json, fix, yes, listFixtures});
    parser.addHelpOption();
    parser.addVersionOption();
    parser.process(app);

    QTextStream out(stdout);
    QTextStream err(stderr);
    QTextStream in(stdin);
    if (parser.isSet(listFixtures)) {
        out << "live  this machine, with its real programs and files\n";
        for (const SimulatedMac::Scenario &scenario : SimulatedMac::scenarios())
            out << scenario.name << "  " << scenario.description << '\n';
        return 0;
    }

    auto selected = ServiceSelection::fromEnvironment();
    if (const QString *problem = std::get_if<QString>(&selected)) {
        err << *problem << '\n';
        return 2;
    }
    const ServiceSelection &selection = std::get<ServiceSelection>(selected);
    if (!selection.notice.isEmpty())
        err << selection.notice << '\n';
    err.flush();

    Doctor doctor(selection.services, selection.platform, FixSequence::defaultConfiguration(),
                  Doctor::Options {parser.isSet(json), parser.isSet(fix), parser.isSet(yes)},
                  Doctor::Terminal {out, err, in, ::isatty(STDIN_FILENO) == 1, ::isatty(STDOUT_FILENO) == 1, STDIN_FILENO});
    return doctor.run();
}
