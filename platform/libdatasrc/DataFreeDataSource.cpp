#include <libdatasrc/DataFreeDataSource.h>

DataFreeDataSource::DataFreeDataSource(ORVX_DataSource* parent) : ORVX_DataSource(parent) {}

DataFreeDataSource::~DataFreeDataSource() = default;
