#include "services/ProcessRunning.h"

#include <QProcessEnvironment>

Environment appEnvironment()
{
    Environment environment;
    const QProcessEnvironment system = QProcessEnvironment::systemEnvironment();
    for (const QString &name : system.keys())
        environment.insert(name, system.value(name));
    return environment;
}

Environment appEnvironmentWith(const Environment &overlay)
{
    Environment environment = appEnvironment();
    environment.insert(overlay);
    return environment;
}
