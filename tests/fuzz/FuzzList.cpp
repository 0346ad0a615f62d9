#include <algorithm>
#include <string>
#include <vector>

#include "Oracle.h"
#include "SimPlatform.h"
#include "Targets.h"
#include "core/ListFile.h"

namespace pellora {

namespace {

// Records after the end of the bytes are all blank; a few of them are enough.
constexpr int kMaxRecords = 64;

std::string Encoded(const std::vector<DownloadRecord>& records) {
  std::string bytes;
  AppendListHeader(bytes, static_cast<std::int16_t>(records.size() - 1));
  for (const DownloadRecord& record : records) AppendRecord(bytes, record);
  return bytes;
}

// What was read is saved, and reading it again gives the same.
void DemandStable(std::string_view bytes, const ListReader& read) {
  const AllocationMeter meter;
  const std::vector<DownloadRecord> records = read(bytes);
  const std::uint64_t most = 8 * bytes.size() + sizeof(DownloadRecord) * 4 * kMaxRecords + 65536;
  Demand(meter.Bytes() <= most, "a list takes memory in proportion to its length");
  Demand(!records.empty(), "a list has its element 0");
  for (const DownloadRecord& record : records) {
    Demand(record.SegmentCount <= 8, "no plan has more than eight segments");
    Demand(record.SegmentCount < 1 || static_cast<std::size_t>(record.SegmentCount) < record.Segments.size(),
           "every planned segment is there");
  }
  const std::string saved = Encoded(records);
  const ListDecoder decoder(saved);
  Demand(decoder.HasMagic() && decoder.DownloadCount() == static_cast<int>(records.size()) - 1, "a saved list is one");
  Demand(Encoded(read(saved)) == saved, "a list that was saved is read as it was");
  ListDecoder sound(bytes);
  for (int i = 0; i <= sound.DownloadCount() && i < kMaxRecords; ++i) {
    DownloadRecord record;
    sound.Next(record);
  }
  if (!sound.Sound() || sound.DownloadCount() >= kMaxRecords) return;
  // An array without elements is saved as no array.
  if (bytes.find(std::string_view("\1\0\0\0\0\0\0\0\0\0", 10)) != std::string_view::npos) return;
  Demand(saved.size() <= bytes.size(), "a sound list is no shorter than what was read of it");
  std::size_t differing = 0;
  for (std::size_t i = 0; i < saved.size(); ++i) differing += saved[i] == bytes[i] ? 0 : 1;
  std::size_t flags = 0;
  for (const DownloadRecord& record : records) flags += 8 + 2 * record.Segments.size();
  Demand(differing <= 2 * flags, "nothing but flags is saved otherwise than it was read");
}

class ListMachine {
 public:
  explicit ListMachine(std::string_view bytes) : sim({.seed = 1}), program(sim.platform()) {
    sim.disk().Put(ListPath(program), SimContent(std::string(bytes)));
  }
  ~ListMachine() { sim.DropProgram(); }

  SimPlatform sim;
  Program program;
};

// The same with the file: a damaged list is set aside before it is overwritten.
void DemandStableFile(std::string_view bytes) {
  ListMachine machine(bytes);
  const std::string path = ListPath(machine.program);
  LoadList(machine.program);
  for (int i = 1; i <= machine.program.DownloadCount; ++i) {
    Demand(!machine.program.Download(i).Active, "nothing transfers after a start");
  }
  SaveList(machine.program);
  const std::string first = machine.program.listBytes;
  Demand(machine.sim.disk().Get(path).starts_with(first), "a list is saved from the file's start");

  ListDecoder decoder(bytes);
  for (int i = 0; i <= decoder.DownloadCount() && decoder.HasMagic(); ++i) {
    DownloadRecord record;
    decoder.Next(record);
  }
  const bool worth = !decoder.Sound() && bytes.find_first_not_of('\0') != std::string_view::npos;
  Demand(machine.sim.disk().Has(path + ".damaged") == worth, "a damaged list is put aside, a sound one is not");
  if (worth) Demand(machine.sim.disk().Get(path + ".damaged") == bytes, "what is put aside is the file as it was");

  Program again(machine.sim.platform());
  LoadList(again);
  SaveList(again);
  Demand(again.listBytes == first, "a second start finds what the first one saved");
}

}  // namespace

std::vector<DownloadRecord> ReadRecords(std::string_view bytes) {
  ListDecoder decoder(bytes);
  const int last = std::min<int>(decoder.DownloadCount(), kMaxRecords - 1);
  std::vector<DownloadRecord> records(static_cast<std::size_t>(last) + 1);
  if (!decoder.HasMagic()) return records;
  for (DownloadRecord& record : records) decoder.Next(record);
  return records;
}

void FuzzList(std::string_view bytes, const ListReader& read) {
  DemandStable(bytes, read);
  if (ListDecoder(bytes).DownloadCount() < kMaxRecords) DemandStableFile(bytes);
}

}  // namespace pellora
