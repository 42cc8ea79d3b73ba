#ifndef SQL_SQLSCHEMA_H
#define SQL_SQLSCHEMA_H

#include <string>
#include <vector>

#include "sql/SqlTrace.h"

namespace marrowfin {

// What there is to be asked, of a trace or of any where it is null. Threads: values, which
// one thread writes or any number read.
struct SqlSchema {
  struct Column {
    std::string name;
    std::string type;  // empty where it is any
    std::string meaning;
    bool isArgument = false;
  };
  struct Table {
    std::string name;
    std::string meaning;
    std::vector<Column> columns;
  };
  std::vector<Table> tables;
};
SqlSchema SchemaOf(const SqlTrace* trace);

}  // namespace marrowfin

#endif
