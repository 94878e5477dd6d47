#include "platform/files/ini_file.h"

#include <boost/property_tree/ini_parser.hpp>
#include <sstream>

#include "platform/files/file_content.h"

namespace platform {

boost::property_tree::ptree read_ini_file(const std::string& path) {
  using boost::property_tree::ini_parser_error;

  std::string content;
  switch (read_regular_file(path.c_str(), content)) {
    case File_Read::DONE:
      break;
    case File_Read::NOT_REGULAR:
      throw ini_parser_error("not a regular file", path, 0);
    case File_Read::FAILED:
      throw ini_parser_error("cannot read file", path, 0);
  }

  std::istringstream text(content);
  boost::property_tree::ptree tree;
  try {
    boost::property_tree::ini_parser::read_ini(text, tree);
  } catch (const ini_parser_error& error) {
    throw ini_parser_error(error.message(), path, error.line());
  }
  return tree;
}

}  // namespace platform
