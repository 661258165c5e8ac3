// The hand-over of the library's UI resources to the suite's i18n layer. Hosts that embed
// their own i18n layer learn through it which resource module the library uses.
#ifndef TLVUTL_FRAME_I18N_BRIDGE_H
#define TLVUTL_FRAME_I18N_BRIDGE_H

class IGLB_UILanguage;

int GTalInitI18N_UIResFromUtl(IGLB_UILanguage* service);
int GTalUnInitI18N_UIResFromUtl();

#endif
