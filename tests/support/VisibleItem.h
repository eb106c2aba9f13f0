#pragma once

#include <QQuickItem>
#include <QString>

/// The visible item called `name` under `root`, walking the visual tree: findChild misses what
/// Repeaters and Loaders create. Shared by the UI tests and the screen atlas, which both drive the
/// real window.
inline QQuickItem *visibleItem(QQuickItem *root, const QString &name)
{
    if (root->objectName() == name && root->isVisible())
        return root;
    for (QQuickItem *child : root->childItems())
        if (QQuickItem *found = visibleItem(child, name))
            return found;
    return nullptr;
}
