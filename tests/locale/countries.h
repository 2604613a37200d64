#ifndef TESCORE_TESTS_COUNTRIES_H
#define TESCORE_TESTS_COUNTRIES_H

/// The texts of the countries, a bar between two, in the order of the numbers that Qt 4 gave them. They are
/// keys of translations that exist, and stay as they are, however they are spelt.
constexpr const char *kCountryTexts =
    "AnyCountry|Afghanistan|Albania|Algeria|American Samoa|Andorra|Angola|Anguilla|Antarctica|"
    "Antigua And Barbuda|Argentina|Armenia|Aruba|Australia|Austria|Azerbaijan|Bahamas|Bahrain|"
    "Bangladesh|Barbados|Belarus|Belgium|Belize|Benin|Bermuda|Bhutan|Bolivia|Bosnia And Herzegowina|"
    "Botswana|Bouvet Island|Brazil|British Indian Ocean Territory|Brunei Darussalam|Bulgaria|"
    "Burkina Faso|Burundi|Cambodia|Cameroon|Canada|Cape Verde|Cayman Islands|Central African Republic|"
    "Chad|Chile|China|Christma sIsland|Cocos Islands|Colombia|Comoros|Democratic Republic Of Congo|"
    "Peoples Republic Of Congo|Cook Islands|Costa Rica|Ivory Coast|Croatia|Cuba|Cyprus|CzechRepublic|"
    "Denmark|Djibouti|Dominica|DominicanRepublic|EastTimor|Ecuador|Egypt|El Salvador|Equatorial Guinea|"
    "Eritrea|Estonia|Ethiopia|Falkland Islands|Faroe Islands|Fiji|Finland|France|Metropolitan France|"
    "French Guiana|French Polynesia|French Southern Territories|Gabon|Gambia|Georgia|Germany|Ghana|"
    "Gibraltar|Greece|Greenland|Grenada|Guadeloupe|Guam|Guatemala|Guinea|Guinea Bissau|Guyana|Haiti|"
    "Heard And McDonald Islands|Honduras|HongKong|Hungary|Iceland|India|Indonesia|Iran|Iraq|Ireland|"
    "Israel|Italy|Jamaica|Japan|Jordan|Kazakhstan|Kenya|Kiribati|Democratic Republic Of Korea|"
    "Republic Of Korea|Kuwait|Kyrgyzstan|Lao|Latvia|Lebanon|Lesotho|Liberia|LibyanArabJamahiriya|"
    "Liechtenstein|Lithuania|Luxembourg|Macau|Macedonia|Madagascar|Malawi|Malaysia|Maldives|Mali|Malta|"
    "MarshallIslands|Martinique|Mauritania|Mauritius|Mayotte|Mexico|Micronesia|Moldova|Monaco|Mongolia|"
    "Montserrat|Morocco|Mozambique|Myanmar|Namibia|Nauru|Nepal|Netherlands|Netherlands Antilles|"
    "New Caledonia|New Zealand|Nicaragua|Niger|Nigeria|Niue|Norfolk Island|Northern Mariana Islands|"
    "Norway|Oman|Pakistan|Palau|Palestinian Territory|Panama|Papua New Guinea|Paraguay|Peru|"
    "Philippines|Pitcairn|Poland|Portugal|PuertoRico|Qatar|Reunion|Romania|Russian Federation|Rwanda|"
    "Saint Kitts And Nevis|StLucia|St Vincent And The Grenadines|Samoa|San Marino|"
    "Sao Tome And Principe|SaudiArabia|Senegal|Seychelles|SierraLeone|Singapore|Slovakia|Slovenia|"
    "Solomon Islands|Somalia|South Africa|South Georgia And The South Sandwich Islands|Spain|Sri Lanka|"
    "St Helena|St Pierre And Miquelon|Sudan|Suriname|Svalbard And Jan Mayen Islands|Swaziland|Sweden|"
    "Switzerland|SyrianArabRepublic|Taiwan|Tajikistan|Tanzania|Thailand|Togo|Tokelau|Tonga|"
    "TrinidadAndTobago|Tunisia|Turkey|Turkmenistan|Turks And Caicos Islands|Tuvalu|Uganda|Ukraine|"
    "United Arab Emirates|United Kingdom|United States|United States Minor Outlying Islands|Uruguay|"
    "Uzbekistan|Vanuatu|Vatican City State|Venezuela|VietNam|British Virgin Islands|US Virgin Islands|"
    "Wallis And Futuna Islands|Western Sahara|Yemen|Yugoslavia|Zambia|Zimbabwe|Serbia And Montenegro|"
    "Montenegro|Serbia|Saint Barthelemy|Saint Martin|Latin America And The Caribbean";

#endif
