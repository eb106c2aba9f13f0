// kvstore_tool <ini-file> set-bool|set-string <key> <value>, or get-bool|get-string <key>: prints
// true or false, or the value or (unset).
#include "services/LiveKeyValueStore.h"

#include <QCoreApplication>
#include <QTextStream>

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() < 4)
        return 2;
    LiveKeyValueStore store(args[1]);
    const QString &command = args[2], &key = args[3];
    if (command == QLatin1String("set-bool") && args.size() == 5)
        store.setBool(key, args[4] == QLatin1String("true"));
    else if (command == QLatin1String("set-string") && args.size() == 5)
        store.setString(key, args[4]);
    else if (command == QLatin1String("get-bool"))
        QTextStream(stdout) << (store.boolValue(key) ? "true" : "false") << '\n';
    else if (command == QLatin1String("get-string"))
        QTextStream(stdout) << store.stringValue(key).value_or(QStringLiteral("(unset)")) << '\n';
    else
        return 2;
    return 0;
}
