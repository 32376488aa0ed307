#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <initializer_list>
#include <string>

namespace LedgoraCollect {

/// One statement of a package table, from its preparation on the connection
/// of DBManage to its end. Nothing is kept between uses.
class TableStatement {
 public:
  /// Prepares `sql`; a failure is logged there and makes everything below false.
  explicit TableStatement(const char* sql);
  ~TableStatement();
  TableStatement(const TableStatement&) = delete;
  TableStatement& operator=(const TableStatement&) = delete;

  bool prepared() const { return mStatement != nullptr; }

  /// Binds the texts to the parameters 1, 2, ... Each is bound up to its first
  /// zero byte and must outlive the statement's run.
  bool bindTexts(std::initializer_list<const std::string*> texts);
  bool bind(int parameter, const std::string& text);
  bool bind(int parameter, std::int64_t number);

  /// Runs a statement that returns no rows: true if it finished.
  bool run();
  /// True as long as there is a row.
  bool nextRow();
  /// True if the last nextRow() ended because the rows did; false, with a
  /// message, if it ended by a failure.
  bool finished();

  /// True if the columns begin with `names`, in this order. Rows are read by
  /// number, so a table that was made with another layout must not be read: a
  /// message tells, and the caller gives no answer.
  bool columnsAre(std::initializer_list<const char*> names);

  /// Column `index` as text, empty for NULL.
  std::string text(int index);
  std::int64_t number(int index);

 private:
  sqlite3_stmt* mStatement;
  int mLastStep = SQLITE_DONE;
};

}  // namespace LedgoraCollect
