#include "FontDatabaseWarmup.h"

#include <QFontDatabase>
#include <QStringList>

FontDatabaseWarmup::FontDatabaseWarmup()
    : m_reader([] { QFontDatabase::families(); })
{
}
