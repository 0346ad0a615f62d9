// ColumnHeaderAccess: what assistive technology sees of a ColumnHeader: a group named as its list, and in it the
// headings in the order of the columns, of which the chosen one has the focus.
#pragma once

#include <QString>

class QAccessibleInterface;
class QObject;

namespace pellora {

// A factory of QAccessible; null for other objects.
QAccessibleInterface* DescribeColumnHeader(const QString& className, QObject* object);

}  // namespace pellora
