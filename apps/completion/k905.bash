# bash completion for the k905 programs. bash-completion loads the file with a program's name, so this file is
# installed under each of the names; the first that is loaded defines the completion of all programs. A word
# can contain characters that are special to the shell: it must not be expanded, neither here nor when the
# completed command line runs.

# Prints the options in the --help of the program. The program is run from PATH only: TAB after the
# path of any file must not run that file.
_k905_options() {
  "$1" --help 2>/dev/null </dev/null | grep -oE -e '--[a-z][a-z-]*' | sort -u
}

# Sets `candidates` to the possible values of an option; to none if the value is a file or any text.
_k905_values() {
  local papers=(5x3.5 5x5 5x7 '6x2*2' '6x2*4' 6x4 '6x4*2' 6x6 6x8 B7 w288h432 w288h432-div2 w360h360
                w360h504 w432h432 w432h576 w432h576-div2 w432h576-div4)
  case "$1 $2" in
    "k905-print --paper" | "k905-print -p" | "k905-raster --paper" | "k905-raster -p" | "k905-setup --paper")
      candidates=("${papers[@]}") ;;
    "k905-print --finish" | "k905-print -f" | "k905-setup --finish") candidates=(Glossy Matte) ;;
    "k905-print --option" | "k905-print -o")
      candidates=(BleedBottom= BleedLeft= BleedRight= BleedTop= ColorBase= ColorModel= ICCProfile= K905Cut= K905Ribbon=
                  MediaType= PageSize= Resolution= StpBrightness= StpColorCorrection= StpColorPrecision= StpContrast=
                  StpCyanBalance= StpCyanGamma= StpGamma= StpImageType= StpLaminate= StpLegacyDyesubGamma=
                  StpLinearContrast= StpMagentaBalance= StpMagentaGamma= StpNoCutWaste= StpSaturation=
                  StpYellowBalance= StpYellowGamma= StpiShrinkOutput=) ;;
    "k905-print --layout") candidates=(1+2 2x2 sheet strips) ;;
    "k905-print --queue" | "k905-print -q" | "k905-setup --check")
      mapfile -t candidates < <(lpstat -e 2>/dev/null) ;;
    "k905-raster --color-space") candidates=(CMY CMYK K RGB RGBA W YMC) ;;
    "k905-raster --fit") candidates=(fill stretch whole) ;;
    "k905-raster --format" | "k905-raster -f")
      candidates=(cmyk1 cmyk16 cmyk8 gray1 gray16 gray8 rgb1 rgb16 rgb8) ;;
    "k905-raster --orientation") candidates=(landscape portrait reverse-landscape reverse-portrait) ;;
    "k905-raster --resolution" | "k905-raster -r" | "k905-sim --resolution") candidates=(300x300 300x600) ;;
    "k905-raster --size" | "k905-raster -s") candidates=(page picture) ;;
    "k905-setup --model" | "k905-sim --model") candidates=(K905 RS-30 RV-40 RV-40W) ;;
    "k905-setup --ribbon") candidates=(6x4 6x8 Auto) ;;
    "k905-sim --fault") candidates=(busy cut garbage long silent slow split) ;;
    "k905-sim --fault-on")
      candidates=(COUNTER_LIFE COUNTER_MATTE CTRLD_CHKSUM FREE_PBUFFER FVER MEDIA MQTY MQTY_DEFAULT
                  RESOLUTION_H RESOLUTION_V RQTY SERIAL_NUMBER STATUS Version) ;;
  esac
}

_k905() {
  local program=${1##*/} word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}
  # bash splits --option=value at the equals sign.
  if [ "$word" = = ]; then
    word=
  elif [ "$before" = = ]; then
    before=${COMP_WORDS[COMP_CWORD - 2]}
  fi
  local candidates=() candidate quoted
  _k905_values "$program" "$before"
  if [ ${#candidates[@]} -eq 0 ] && [[ $word == -* ]]; then
    mapfile -t candidates < <(_k905_options "$program")
  fi
  COMPREPLY=()
  for candidate in ${candidates[@]+"${candidates[@]}"}; do
    printf -v quoted %q "$candidate"
    if [[ $candidate == "$word"* || $quoted == "$word"* ]]; then
      COMPREPLY+=("$quoted")
    fi
  done
  # The choice follows KEYWORD= without a space.
  case ${COMPREPLY[0]-} in *=) compopt -o nospace 2>/dev/null ;; esac
}

complete -o default -F _k905 k905-preview k905-print k905-raster k905-setup k905-sim k905-status
