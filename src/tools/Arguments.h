// Arguments: the command line of one of pelloractl's commands, taken apart by the options that the command has.
#pragma once

#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>

namespace pellora {

struct OptionRule {
  const char* name;  // "--timeout"
  bool hasValue = false;
};

struct Arguments {
  QMap<QString, QString> options;  // by name; the value, or an empty text
  QStringList operands;
  QString error;  // in one sentence, if the command does not take these arguments

  bool Has(const char* option) const { return options.contains(QLatin1String(option)); }
  QString Value(const char* option) const { return options.value(QLatin1String(option)); }
};

// "--name VALUE" or "--name=VALUE"; what follows "--" are operands, and so is "-". "--help" is always an option.
Arguments ParseArguments(const QStringList& given, const QList<OptionRule>& rules);

}  // namespace pellora
