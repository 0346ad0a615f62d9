// ZipPlan: what `pelloractl zip` is to ask the program for, made from its arguments and the standard input.
#pragma once

#include <QString>
#include <QVariantMap>

#include "tools/Arguments.h"

namespace pellora {

QList<OptionRule> ZipOptions();

struct ZipPlan {
  bool lists = false;  // what the archive contains; else it gets files out of it
  QString url;
  QVariantMap request;
  QString error;  // in one sentence, if there is no plan
};

// Reads the passwords that the arguments say, one a line: the login's first.
ZipPlan PlanZip(const Arguments& arguments);

}  // namespace pellora
