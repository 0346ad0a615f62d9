// DataObject: what a drag from another program offers.
#pragma once

#include <string>

namespace pellora {

// Getting data may mean a request to another program.
class DataObject {
 public:
  virtual ~DataObject() = default;
  virtual bool GetFormat(int format) const = 0;
  virtual std::string GetData(int format) const = 0;
};
inline constexpr int kTextFormat = 1;
inline constexpr int kLinksFormat = 2;  // a list of links, as text/uri-list has it

enum DropEffect : int { kDropNone = 0, kDropCopy = 1 };

// A window that takes what is dropped on it.
class DropTarget {
 public:
  virtual ~DropTarget() = default;
  // From the view; one event. False if there is nothing in it for this window.
  virtual bool TakeDrop(const DataObject& data) = 0;
};

}  // namespace pellora
