# bash completion for the k905 programs. Installed once under each program's name, since that is how it
# is found; whichever is needed first does it for all.

_k905_options() {
  case $1 in
    k905-preview) echo --check --columns --contact --dump --help --output --proof --raw --version --width ;;
    k905-print) echo --brightness --contrast --copies --finish --fit --gamma --help --journal --no-turn \
                     --option --paper --preview --queue --saturation --to --two-up --verbose --version \
                     --watch ;;
    k905-raster) echo --color-space --compressed --copies --fit --format --help --list --orientation \
                      --output --page-png --paper --points --resolution --size --version ;;
    k905-setup) echo --check --device --finish --help --list --model --paper --replace --ribbon ;;
    k905-sim) echo --color-checksum --color-version --delay --fault --fault-on --firmware --free-buffers \
                   --half-size --help --initial --life --listen --matte --media --model --remaining \
                   --resolution --serial --sheets --state --status --version ;;
    k905-status) echo --help --json --timeout --version --wait-ready --watch ;;
  esac
}

# What may stand behind an option; nothing where it is a file or anything at all.
_k905_values() {
  local papers="5x3.5 5x5 5x7 6x2*2 6x2*4 6x4 6x4*2 6x6 6x8 B7 w288h432 w288h432-div2 w360h360 w360h504
                w432h432 w432h576 w432h576-div2 w432h576-div4"
  case "$1 $2" in
    "k905-print --paper" | "k905-print -p" | "k905-raster --paper" | "k905-raster -p" | "k905-setup --paper")
      echo "$papers" ;;
    "k905-print --finish" | "k905-print -f" | "k905-setup --finish") echo Glossy Matte ;;
    "k905-print --option" | "k905-print -o")
      echo BleedBottom= BleedLeft= BleedRight= BleedTop= ColorBase= ColorModel= ICCProfile= K905Ribbon= \
           PageSize= Resolution= StpBrightness= StpColorCorrection= StpColorPrecision= StpContrast= \
           StpCyanBalance= StpCyanGamma= StpGamma= StpImageType= StpLaminate= StpLegacyDyesubGamma= \
           StpLinearContrast= StpMagentaBalance= StpMagentaGamma= StpNoCutWaste= StpSaturation= \
           StpYellowBalance= StpYellowGamma= StpiShrinkOutput= ;;
    "k905-print --queue" | "k905-print -q" | "k905-setup --check") lpstat -e 2>/dev/null ;;
    "k905-raster --color-space") echo CMY CMYK K RGB RGBA W YMC ;;
    "k905-raster --fit") echo fill stretch whole ;;
    "k905-raster --format" | "k905-raster -f") echo cmyk1 cmyk16 cmyk8 gray1 gray16 gray8 rgb1 rgb16 rgb8 ;;
    "k905-raster --orientation") echo landscape portrait reverse-landscape reverse-portrait ;;
    "k905-raster --resolution" | "k905-raster -r" | "k905-sim --resolution") echo 300x300 300x600 ;;
    "k905-raster --size" | "k905-raster -s") echo page picture ;;
    "k905-setup --model" | "k905-sim --model") echo K905 RS-30 RV-40 RV-40W ;;
    "k905-setup --ribbon") echo 6x4 6x8 Auto ;;
    "k905-sim --fault") echo busy cut garbage long silent slow split ;;
    "k905-sim --fault-on")
      echo COUNTER_LIFE COUNTER_MATTE CTRLD_CHKSUM FREE_PBUFFER FVER MEDIA MQTY MQTY_DEFAULT RESOLUTION_H \
           RESOLUTION_V RQTY SERIAL_NUMBER STATUS Version ;;
  esac
}

_k905() {
  local program=${1##*/} word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}
  # bash takes --option=value apart at the sign.
  if [ "$word" = = ]; then
    word=
  elif [ "$before" = = ]; then
    before=${COMP_WORDS[COMP_CWORD - 2]}
  fi
  local words
  words=$(_k905_values "$program" "$before")
  if [ -z "$words" ] && [[ $word == -* ]]; then
    words=$(_k905_options "$program")
  fi
  mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
  # Behind KEYWORD= the choice follows at once.
  case ${COMPREPLY[0]-} in *=) compopt -o nospace 2>/dev/null ;; esac
}

complete -o default -F _k905 k905-preview k905-print k905-raster k905-setup k905-sim k905-status
