// Writes what is made from the client's tables: zel-client-documents KIND OUTPUT [TEMPLATE].
#include "client_options.h"

int main(int argc, char **argv) {
  Command client;
  for (const std::vector<Option> &list : {client_option_list(), stream_option_list()})
    client.options.insert(client.options.end(), list.begin(), list.end());
  // GOption's own.
  client.options.push_back(
      {.name = "help", .short_name = 'h', .value = {}, .help = "Show help options", .initial = {}, .choices = {}});
  client.options.push_back(
      {.name = "help-all", .value = {}, .help = "Show all help options", .initial = {}, .choices = {}});
  // Numbers, for which there is nothing to offer.
  client.operands = {{.name = "width and height", .value = {}, .help = {}, .initial = {}, .choices = {}}};
  const Program program = {
      .name = "zel-client",
      .version = ZEL_CLIENT_VERSION,
      .commands = {client},
      .lists = {{"client-options", client_option_list()}, {"stream-options", stream_option_list()}},
  };
  return write_document(argc, argv, program);
}
