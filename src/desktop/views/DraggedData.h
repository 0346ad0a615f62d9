// DraggedData: a drag's data as the logic reads it.
#pragma once

#include <QMimeData>
#include <string>

#include "ui/DataObject.h"

namespace pellora {

class DraggedData final : public DataObject {
 public:
  // `data` outlives it.
  explicit DraggedData(const QMimeData& data) : data_(data) {}
  // Checks the formats by name: QMimeData would offer a list of links as text, decoded and without passwords.
  bool GetFormat(int format) const override;
  std::string GetData(int format) const override;

 private:
  const QMimeData& data_;
};

}  // namespace pellora
