#ifndef TESCORE_BENCHMARKS_ROWS_H
#define TESCORE_BENCHMARKS_ROWS_H

class Storage;
class Table;

void addTreeRows(Table &table, const Storage &storage);
void addMoveAcrossRow(Table &table, const Storage &from, const Storage &to);
void addScaleRows(Table &table, const Storage &storage);
void addFileMoveRows(Table &table, const Storage &storage);
void addContentRows(Table &table, const Storage &storage);
void addTextRows(Table &table);
void addIdRows(Table &table);
void addProcessRows(Table &table);

#endif
