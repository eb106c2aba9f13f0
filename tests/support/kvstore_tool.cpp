// kvstore_tool <ini-file> set-bool|set-string <key> <value>, or get-bool|get-string <key>: prints
// true or false, or the value or (unset).
#include "services/LiveKeyValueStore.h"

#include <QCoreApplication>
#include <QTextStream>

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    LiveKeyValueStore store(args.value(1));
    const QString command = args.value(2), key = args.value(3);
    if (args.size() == 5 && command == QLatin1String("set-bool"))
        store.setBool(key, args[4] == QLatin1String("true"));
    else if (args.size() == 5 && command == QLatin1String("set-string"))
        store.setString(key, args[4]);
    else if (args.size() == 4 && command == QLatin1String("get-bool"))
        QTextStream(stdout) << (store.boolValue(key) ? "true" : "false") << '\n';
    else if (args.size() == 4 && command == QLatin1String("get-string"))
        QTextStream(stdout) << store.stringValue(key).value_or(QStringLiteral("(unset)")) << '\n';
    else
        return 2;
}
