// Serves the catalog on 127.0.0.1 until it is told to stop (SIGTERM, SIGINT). Its address is the first line it writes.
//
//   catalog_service [--port N] [--database FILE] [--user NAME --password-file FILE] [--tls FOLDER]
//
// With --tls it writes a certificate of its own to FOLDER/catalog.pem, for clients to trust, and the key beside it.

#include <pthread.h>
#include <signal.h>

#include <exception>
#include <fstream>
#include <iostream>
#include <string>

#include "platform/text/natoi.h"
#include "sandbox/catalog_service.h"
#include "sandbox/certificate.h"

namespace {

std::string first_line(const std::string& path) {
  std::ifstream file(path);
  std::string line;
  std::getline(file, line);
  return line;
}

bool set_tls(sandbox::Catalog_Service_Options& options, const std::string& folder) {
  options.certificate = folder + "/catalog.pem";
  options.key = folder + "/catalog.key";
  return sandbox::write_certificate(options.certificate, options.key);
}

bool read_arguments(int argc, char** argv, sandbox::Catalog_Service_Options& options) {
  for (int i = 1; i < argc; i += 2) {
    const std::string name = argv[i];
    if (i + 1 == argc) return false;
    const std::string value = argv[i + 1];
    if (name == "--port") {
      options.port = platform::natoi<std::uint16_t>(value.c_str());
    } else if (name == "--database") {
      options.database = value;
    } else if (name == "--user") {
      options.user = value;
    } else if (name == "--password-file") {
      options.password = first_line(value);
    } else if (name != "--tls" || !set_tls(options, value)) {
      return false;
    }
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  // Blocked before any thread starts, so that sigwait() below is the one to see them.
  sigset_t stop;
  sigemptyset(&stop);
  sigaddset(&stop, SIGTERM);
  sigaddset(&stop, SIGINT);
  pthread_sigmask(SIG_BLOCK, &stop, nullptr);

  sandbox::Catalog_Service_Options options;
  if (!read_arguments(argc, argv, options)) {
    const bool asked = argc == 2 && std::string(argv[1]) == "--help";
    (asked ? std::cout : std::cerr) << "usage: catalog_service [--port N] [--database FILE]"
                                       " [--user NAME --password-file FILE] [--tls FOLDER]\n";
    return asked ? 0 : 2;
  }
  try {
    const sandbox::Catalog_Service service(options);
    std::cout << service.base_url() << std::endl;
    int signal_number = 0;
    sigwait(&stop, &signal_number);
    return 0;
  } catch (const std::exception& error) {
    std::cerr << "catalog_service: " << error.what() << "\n";
    return 1;
  }
}
