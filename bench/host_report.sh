# What a person would type to learn what gustaikrum-report shows.
listening=$(ss -ltn)
ps -eo user:20,args | grep 'HDB[0-9][0-9]/exe/sapstartsrv' | grep -v grep | while read -r user program _; do
  executables=${program%/*}
  directory=${executables%/exe}
  number=${directory##*HDB}
  sid=$(echo "$directory" | awk -F/ '{print $4}')
  config=/usr/sap/$sid/SYS/global/hdb/custom/config
  echo "$sid" "$number" "$user" "$directory"
  awk -F' *= *' '/^\[/ {section = $1} section == "[multidb]" && $1 == "mode" {print $2}' "$config/global.ini"
  awk -F' *= *' '/^\[/ {section = $1} section == "[landscape]" && $1 == "id" {print $2}' "$config/nameserver.ini"
  LD_LIBRARY_PATH=$executables "$executables/hdbsrvutil" -v | awk '$1 == "version:" {print $2}'
  ls -d "$directory"/*/trace
  echo "$listening" | awk '{print $4}' | grep -E ":3${number}(00|01|02|10|13|15|17)$"
done
