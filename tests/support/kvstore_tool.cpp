// kvstore_tool <ini-file> set-bool <key> true|false
// kvstore_tool <ini-file> set-string <key> <value>
// kvstore_tool <ini-file> get-bool <key>      prints true or false
// kvstore_tool <ini-file> get-string <key>    prints the value, or (unset)
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
    const QString &command = args[2];
    const QString &key = args[3];
    QTextStream out(stdout);
    if (command == QLatin1String("set-bool") && args.size() == 5)
        store.setBool(key, args[4] == QLatin1String("true"));
    else if (command == QLatin1String("set-string") && args.size() == 5)
        store.setString(key, args[4]);
    else if (command == QLatin1String("get-bool"))
        out << (store.boolValue(key) ? "true" : "false") << '\n';
    else if (command == QLatin1String("get-string"))
        out << store.stringValue(key).value_or(QStringLiteral("(unset)")) << '\n';
    else
        return 2;
    return 0;
}
