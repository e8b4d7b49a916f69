/* One transaction instrumented in plain C.
 *
 *   tlm_example [LOGDIR]
 *
 * Starts the library, times a request with two components inside it, and stops. The metrics and
 * the transaction's trace go to LOGDIR/ExampleC_mtdata.log (LOGDIR defaults to the working
 * directory); show them with tlm-view. */
#include <stdio.h>
#include <stdlib.h>
#include <time.h>

#include "tlm.h"
#include "zul_u16conv.h"

static void work(long milliseconds) {
  struct timespec pause = {0, milliseconds * 1000000L};
  nanosleep(&pause, NULL);
}

int main(int argc, char **argv) {
  ZUL_UTF16 logdir[1024];
  size_t length = 0;
  Utf8sToUcsFast(logdir, 1024, &length, (const ZUL_RAW *)(argc > 1 ? argv[1] : "."));

  const ZUL_UTF16 *config[][2] = {
      {u"logdir", logdir},
      {u"datasending_method", u"file"}, /* a log file instead of monitoring agents */
  };
  TLM_ProcInitWithParam(u"ExampleC", -1, 2, config);

  /* An application passport with an empty GUID and flag 1535: trace this transaction. */
  TLM_initContext(u"*1535");
  uint32_t request = TLM_startTiming(u"Orders", u"submit", 1);
  TLM_appendParameterInfo(request, u"customer", u"4711");

  uint32_t check = TLM_startTiming(u"Stock", u"check", 3);
  work(2);
  TLM_endTiming(check);

  uint32_t insert = TLM_startTiming(u"Database", u"insert", 5);
  TLM_appendInfo(insert, u"Table", u"orders");
  work(5);
  TLM_endTiming(insert);

  TLM_appendReturnInfo(request, u"accepted");
  TLM_endTiming(request); /* the outermost end closes the transaction and queues its trace */

  TLM_ProcExit(); /* writes what was collected */
  printf("wrote %s/ExampleC_mtdata.log\n", argc > 1 ? argv[1] : ".");
  return 0;
}
