// Link stores: what loads is saved with the same bytes and holds together under every search and edit.

#include <cstdio>
#include <fstream>
#include <iterator>

#include "fuzz.h"
#include "graph/matlinkd.h"

namespace {

std::string bytes_of(const char* name) {
  std::ifstream file(name, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

bool load(qvtx::MatLinkD& store, const char* name) {
  std::FILE* file = std::fopen(name, "rb");
  qvtx::fuzz::demand(file != nullptr);
  const int loaded = store.load_bin(file);
  std::fclose(file);
  return loaded != 0;
}

void search(const qvtx::MatLinkD& store) {
  qvtx::MatFullL numbers, order, hops;
  store.connex(numbers);
  const long last = store.nnode() - 1;
  store.nrav(last, order, hops, 2);
  store.mst(last, 0, numbers);
  long ends = 0;
  for (long i = 0; i <= last; ++i) ends += store.degree(i, numbers);
  qvtx::fuzz::demand(ends >= store.nlive());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  qvtx::fuzz::silence();
  const qvtx::fuzz::InputFile input(bytes, size), saved;
  qvtx::MatLinkD store;
  if (!load(store, input.path())) return 0;
  qvtx::fuzz::demand(store.save_bin(saved.path(), 0) != 0);
  const std::string record = bytes_of(saved.path());
  qvtx::fuzz::demand(record.compare(0, record.size(), reinterpret_cast<const char*>(bytes), record.size()) ==
                     0);
  if (store.nnode() == 0) return 0;
  if (store.nvalue() > 0) search(store);
  for (long k = 0; k < store.nslot(); k += 2) store.del_link(k);
  store.add_link(0, store.nnode() - 1);
  store.delrow(0);
  store.addrow(2);
  return 0;
}
