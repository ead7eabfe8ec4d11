#ifndef ZEVRA_ZEVRA_H
#define ZEVRA_ZEVRA_H
/* The twelve functions arrive with the rooms behind them. */
#endif
