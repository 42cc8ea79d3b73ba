#include "sql/SqlSchema.h"

#include <memory>

#include "sql/SqlTable.h"
#include "sql/TraceTables.h"

namespace marrowfin {

SqlSchema SchemaOf(const SqlTrace* trace) {
  SqlWork work;
  SqlSchema schema;
  for (const TraceTable& table : TraceTables()) {
    SqlSchema::Table& told = schema.tables.emplace_back();
    told.name = table.name;
    told.meaning = table.meaning;
    const std::unique_ptr<SqlTable> made = table.make(trace, work);
    for (const SqlColumn& column : made->Columns()) {
      told.columns.push_back({column.name, column.type, column.meaning, column.isArgument});
    }
  }
  return schema;
}

}  // namespace marrowfin
