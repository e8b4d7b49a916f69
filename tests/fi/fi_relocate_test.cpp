// A filled region (an Fi block followed by the Ft table of its records, keys relative to the
// region's start) is searched at other addresses.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include "fi_test_util.h"

namespace {

constexpr uint32_t kCount = 500;

size_t FiPart() { return (FiGetAdmSize(1, kCount + 1, sizeof(KeyRecord), 0) + 7) & ~size_t{7}; }
size_t RegionSize() { return FiPart() + FtGetAdmSize(0, kCount + 1, sizeof(KeyRecord)); }

std::u16string KeyOf(uint32_t i) {
  std::string digits = std::to_string(i * 7919 % 100000);
  return PadKey(std::u16string(u"k") + std::u16string(digits.begin(), digits.end()));
}

void AddKey(char *region, FI_HDL hdl, uint32_t i) {
  void *p = nullptr;
  ASSERT_EQ(FtAlloc(region + FiPart(), &p), FI_OK);
  auto *r = static_cast<KeyRecord *>(p);
  std::u16string key = KeyOf(i);
  std::memcpy(r->key, key.data(), sizeof r->key);
  r->value = i;
  ASSERT_EQ(FiInsert(hdl, r->key, r, nullptr), FI_OK);
}

void Build(char *region) {
  ASSERT_EQ(FiInit(region, u"shared", 0, 1, kCount + 1, sizeof(KeyRecord), u' ', u' ', nullptr),
            FI_OK);
  ASSERT_EQ(FtInit(region + FiPart(), u"records", 0, kCount + 1, sizeof(KeyRecord), nullptr),
            FI_OK);
  FI_HDL hdl = nullptr;
  ASSERT_EQ(FiOpenIndex(region, 1, 0, region, kKeyUnits, &hdl), FI_OK);
  for (uint32_t i = 0; i < kCount; ++i) AddKey(region, hdl, i);
  EXPECT_EQ(FiDetachIndex(hdl), FI_OK);
}

// Every key is found, and its record lies in this region.
void ExpectAllFound(char *region, uint32_t count) {
  FI_HDL hdl = nullptr;
  ASSERT_EQ(FiAttachIndex(region, 1, region, &hdl), FI_OK);
  for (uint32_t i = 0; i < count; ++i) {
    std::u16string key = KeyOf(i);
    FI_NODE *node = nullptr;
    ASSERT_EQ(FiFindExact(hdl, key.data(), &node), FI_OK) << i;
    char *record = static_cast<char *>(FI_NODE_RECORD(region, node));
    ASSERT_TRUE(record > region && record < region + RegionSize());
    EXPECT_EQ(reinterpret_cast<KeyRecord *>(record)->value, i);
    EXPECT_EQ(FI_NODE_KEY(region, node), reinterpret_cast<KeyRecord *>(record)->key);
  }
  EXPECT_EQ(FiDetachIndex(hdl), FI_OK);
}

// Built in a heap block, the region is written to a file and the block wiped; the file, mapped
// twice at other addresses, is searched through both mappings.
TEST(FiRelocation, RegionIsSearchedAtOtherAddressesAndSharedThroughAFile) {
  Block original = ExactBlock(RegionSize());
  Build(original.get());
  char dir[] = "/tmp/fi_map_XXXXXX";
  ASSERT_NE(mkdtemp(dir), nullptr);
  std::string path = std::string(dir) + "/block";
  int fd = open(path.c_str(), O_RDWR | O_CREAT | O_EXCL, 0600);
  ASSERT_GE(fd, 0);
  ASSERT_EQ(write(fd, original.get(), RegionSize()), static_cast<ssize_t>(RegionSize()));
  std::memset(original.get(), 0xA5, RegionSize());
  auto *first =
      static_cast<char *>(mmap(nullptr, RegionSize(), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0));
  auto *second =
      static_cast<char *>(mmap(nullptr, RegionSize(), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0));
  ASSERT_TRUE(first != MAP_FAILED && second != MAP_FAILED && first != second);

  ExpectAllFound(first, kCount);
  ExpectAllFound(second, kCount);
  // A key added through the second mapping is found through the first.
  FI_HDL hdl = nullptr;
  ASSERT_EQ(FiAttachIndex(second, 1, second, &hdl), FI_OK);
  AddKey(second, hdl, kCount);
  EXPECT_EQ(FiDetachIndex(hdl), FI_OK);
  ExpectAllFound(first, kCount + 1);

  munmap(first, RegionSize());
  munmap(second, RegionSize());
  close(fd);
  unlink(path.c_str());
  rmdir(dir);
}

}  // namespace
