// A table that says of itself that it holds more entries than can be doubled: every operation
// that needs room is refused as out of memory, without a request that the heap would have to
// answer.

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <string>
#include <vector>

#include "tests/support/capture.h"
#include "tests/unit/conf/table.h"
#include "zarnic/conf/diagnostics.h"
#include "zarnic/conf/read_configuration.h"

namespace {

using test::Report;
using test::Reports;
using test::Table;
using Words = std::vector<std::string>;

constexpr std::uint64_t too_many = std::uint64_t{1} << 59U;
const std::vector<Report> no_room = {
    {12, "Unable to read configuration: Cannot allocate memory"}};

// Gives a table its own counts back at the end.
class Overfull {
  public:
    Overfull(const Table& table, std::uint64_t count) : table_(table.get()), before_(*table_) {
        table_->size = count;
        table_->nmemb = count;
    }
    Overfull(const Overfull&) = delete;
    Overfull& operator=(const Overfull&) = delete;
    ~Overfull() {
        table_->size = before_.size;
        table_->nmemb = before_.nmemb;
    }

  private:
    conf_table* table_;
    conf_table before_;
};

TEST(TableOverfull, GrowingBeyondTheLargestCapacityIsRefusedAndLeavesTheTable) {
    for (const std::uint64_t count :
         {too_many, too_many + 2, too_many * 2, too_many * 16 - 2, ~std::uint64_t{20},
          ~std::uint64_t{19}, ~std::uint64_t{0}}) {
        Table table;
        table.addNumbered("N", 1, 3);
        const conf_entry* const data = table->data;
        const Overfull overfull(table, count);
        const Reports reports;
        errno = 0;
        EXPECT_EQ(conf_init_r(table.get()), -1);
        EXPECT_EQ(errno, ENOMEM);
        EXPECT_EQ(reports.all(), no_room);
        EXPECT_EQ(table->data, data);
        EXPECT_EQ(table->size, count);
        EXPECT_EQ(table->nmemb, count);
        EXPECT_EQ(table->sorted, 0);
    }
}

TEST(TableOverfull, ReadFailsBeforeItsFileIsOpened) {
    Table table;
    table.addNumbered("N", 1, 3);
    const Overfull overfull(table, too_many);
    const Reports reports;
    errno = 0;
    EXPECT_EQ(conf_read_file_r("/no/such/file", table.get()), -1);
    EXPECT_EQ(errno, ENOMEM);
    EXPECT_EQ(reports.all(), no_room);
}

conf_table* filled = nullptr;
conf_table before_filling;
Words said;

// A channel that makes the table overfull when it hears of the first bad line.
[[gnu::format(printf, 2, 3)]] void fillUp(int level, const char* format, ...) {
    char text[200];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    if (said.empty()) {
        before_filling = *filled;
        filled->size = too_many;
        filled->nmemb = too_many;
    }
    said.push_back(std::to_string(level) + " " + text);
    errno = EDOM;
}

TEST(TableOverfull, FailedAdditionEndsTheReadUnsortedAndWithoutAReportOfTheRead) {
    const Table table;
    const test::TempDir dir;
    test::writeFile(dir / "f", "B 2\nA 1\nBAD\nC 3\nBAD\nD 4\n");
    const std::string descriptors = test::openDescriptors();
    filled = table.get();
    message_fn = fillUp;
    errno = 0;
    const int result = conf_read_file_r((dir / "f").c_str(), table.get());
    const int error = errno;
    message_fn = console_message;
    table->size = before_filling.size;
    table->nmemb = before_filling.nmemb;
    EXPECT_EQ(result, -1);
    EXPECT_EQ(error, ENOMEM);
    EXPECT_EQ(said, Words({"12 Invalid variable definition BAD\n\nExpected a value",
                           "12 Unable to read configuration: Cannot allocate memory"}));
    EXPECT_EQ(table->sorted, 0);
    EXPECT_EQ(table.names(), Words({"B", "A"}));
    EXPECT_EQ(test::openDescriptors(), descriptors);
}

}  // namespace
